// Delay queries by strings: which lookup each node type reaches and with
// which arguments (through a node that records its calls), the same queries
// against a real model, the faults (null arguments, unknown and unserved
// types, null elements, short vectors), the placeholders and the report.
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "dtm_node.h"
#include "dtm_string.h"
#include "dtm_tcl_report.h"
#include "line_record_view.h"
#include "mem_alloc_sys.h"
#include "msg_sys.h"

namespace {

// A query written as names; nullopt stands for a null element.
using NAMES = std::vector<std::optional<std::string>>;

// Owns the strings of a query and gives the vector of pointers.
class QUERY_STRINGS {
 public:
  explicit QUERY_STRINGS(const NAMES& names) {
    for (const auto& name : names) {
      m_storage.push_back(name ? std::make_unique<std::string>(*name) : nullptr);
      m_pointers.push_back(m_storage.back().get());
    }
  }
  const DTM_STRING::STRINGS* get() const { return &m_pointers; }

 private:
  std::vector<std::unique_ptr<std::string>> m_storage;
  DTM_STRING::STRINGS m_pointers;
};

// A node that answers every lookup with a fixed value and records the call:
// the lookup's name, its key arguments and the path places up to the first
// DTM_NODE_NONE.
class RECORDING_NODE final : public DTM_NODE {
 public:
  RECORDING_NODE() : DTM_NODE(DTM_ROOT, true) {}
  mutable std::vector<std::string> m_calls;

  int get_micro_node_delay(DTM_ENUM kind, DTM_PATH_DEF) const override {
    return note("micro", {kind}, {{DTM_PATH_ARGS}});
  }
  int get_table_node_delay(DTM_ENUM row, DTM_ENUM col, DTM_PATH_DEF) const override {
    return note("table", {row, col}, {{DTM_PATH_ARGS}});
  }
  double get_float_table_node_delay(DTM_ENUM row, DTM_ENUM col, DTM_PATH_DEF) const override {
    return note("float_table", {row, col}, {{DTM_PATH_ARGS}}) + 0.5;
  }
  int get_ff_node_delay(DB_BURIED_PORT_TYPE port, DTM_ENUM kind, DTM_PATH_DEF) const override {
    return note("ff", {port, kind}, {{DTM_PATH_ARGS}});
  }
  int get_re_node_delay(CDB_RE_TYPE re, DTM_PATH_DEF) const override {
    return note("re", {re}, {{DTM_PATH_ARGS}});
  }
  int get_re_table_node_delay(CDB_RE_TYPE re1, CDB_RE_TYPE re2, DTM_ENUM kind,
                              DTM_PATH_DEF) const override {
    return note("re_table", {re1, re2, kind}, {{DTM_PATH_ARGS}});
  }
  int get_re_port_node_delay(CDB_RE_TYPE re, DB_INPUT_PORT_TYPE port, DTM_PATH_DEF) const override {
    return note("re_port", {re, port}, {{DTM_PATH_ARGS}});
  }
  int get_port_re_node_delay(DB_OUTPUT_PORT_TYPE port, CDB_RE_TYPE re,
                             DTM_PATH_DEF) const override {
    return note("port_re", {port, re}, {{DTM_PATH_ARGS}});
  }
  int get_p2p_node_delay(DB_INPUT_PORT_TYPE src, DB_OUTPUT_PORT_TYPE dst, DTM_ENUM condition,
                         DTM_PATH_DEF) const override {
    return note("p2p in-out", {src, dst, condition}, {{DTM_PATH_ARGS}});
  }
  int get_p2p_node_delay(DB_INPUT_PORT_TYPE src, DB_BURIED_PORT_TYPE dst, DTM_ENUM condition,
                         DTM_PATH_DEF) const override {
    return note("p2p in-buried", {src, dst, condition}, {{DTM_PATH_ARGS}});
  }
  int get_p2p_node_delay(DB_BURIED_PORT_TYPE src, DB_OUTPUT_PORT_TYPE dst, DTM_ENUM condition,
                         DTM_PATH_DEF) const override {
    return note("p2p buried-out", {src, dst, condition}, {{DTM_PATH_ARGS}});
  }
  int get_p2p_node_delay(DB_BURIED_PORT_TYPE src, DB_BURIED_PORT_TYPE dst, DTM_ENUM condition,
                         DTM_PATH_DEF) const override {
    return note("p2p buried-buried", {src, dst, condition}, {{DTM_PATH_ARGS}});
  }
  double get_rc_float(CDB_RE_TYPE re, DTM_ENUM kind, DTM_ENUM edge, DTM_PATH_DEF) const override {
    return note("rc", {re, kind, edge}, {{DTM_PATH_ARGS}}) + 0.25;
  }
  int get_integer_node_delay(DTM_ENUM kind, int index, DTM_PATH_DEF) const override {
    return note("integer", {kind, index}, {{DTM_PATH_ARGS}});
  }

 private:
  int note(const char* name, std::vector<int> keys, const DTM_PATH& path) const {
    std::ostringstream call;
    call << name << "(";
    for (std::size_t i = 0; i < keys.size(); ++i) {
      call << (i > 0 ? " " : "") << keys[i];
    }
    call << " |";
    for (int i = 0; i < DTM_PATH_LENGTH && path[i] != DTM_NODE_NONE; ++i) {
      call << " " << path[i];
    }
    call << ")";
    m_calls.push_back(call.str());
    return 1000 + static_cast<int>(m_calls.size());
  }
};

enum class OUTCOME { CALL, SENTINEL, OUT_OF_RANGE };

struct ROUTE_CASE {
  const char* m_label;
  NAMES m_names;
  OUTCOME m_outcome;
  std::string m_call;  // the recorded call, when one is expected
  std::vector<std::string> m_reports;
};

constexpr int DEVICE = DTM_MAP_DEVICE;    // 67
constexpr int CELL = DTM_MAP_LOGIC_CELL;  // 4
const std::string k_unrecognized = "Unrecognized node type";
const std::string k_never = "Should never get here!";
const std::string k_null = "temp_str != 0";

std::string numbers(std::initializer_list<int> values) {
  std::string text;
  for (int value : values) {
    if (!text.empty()) {
      text += ' ';
    }
    text += std::to_string(value);
  }
  return text;
}

// The expected record of a call.
std::string call(const char* name, std::initializer_list<int> keys,
                 std::initializer_list<int> path = {}) {
  std::string text = std::string(name) + "(" + numbers(keys) + " |";
  for (int place : path) {
    text += ' ';
    text += std::to_string(place);
  }
  return text + ")";
}

template <class QUERY>
void check_routes(const std::vector<ROUTE_CASE>& cases, QUERY query, double sentinel) {
  for (const ROUTE_CASE& c : cases) {
    SCOPED_TRACE(c.m_label);
    MEMORY_GUARD memory;
    MSG_CAPTURE capture;
    RECORDING_NODE node;
    DTM_TCL_REPORT report;
    const QUERY_STRINGS strings(c.m_names);
    switch (c.m_outcome) {
      case OUTCOME::OUT_OF_RANGE:
        try {
          query(strings.get(), &node, &report);
          ADD_FAILURE() << "no out-of-range error";
        } catch (const std::out_of_range& error) {
          EXPECT_STREQ(error.what(), "invalid vector<T> subscript");
        }
        EXPECT_TRUE(node.m_calls.empty());
        break;
      case OUTCOME::SENTINEL:
        EXPECT_EQ(query(strings.get(), &node, &report), sentinel);
        EXPECT_TRUE(node.m_calls.empty());
        break;
      case OUTCOME::CALL: {
        const double result = query(strings.get(), &node, &report);
        ASSERT_EQ(node.m_calls, std::vector<std::string>{c.m_call});
        EXPECT_EQ(static_cast<int>(result), 1001);
        break;
      }
    }
    EXPECT_EQ(capture.get_texts(), c.m_reports);
    for (const MSG_REPORT& r : capture.get_reports()) {
      EXPECT_EQ(r.m_source, "dtm_string");
    }
    // The report object is never written.
    EXPECT_EQ(report.get_value(), 0);
    EXPECT_TRUE(report.get_text().empty());
  }
}

TEST(StringQuery, GetDelayRoutesEveryNodeType) {
  const int in_a = DB_IN_LCELL_DATAA, out_c = DB_OUT_LCELL_COMBOUT;
  const int bur_d = DB_BURIED_REG_D, in_d = DB_IN_REG_D;
  const int glob = DB_BURIED_CLK_GLOBAL_0, out_q = DB_OUT_REG_Q;
  const int dff = CDB_RE_DFF, latch = CDB_RE_LATCH;
  const std::vector<ROUTE_CASE> cases = {
      // Every arm, with map types.
      {"micro",
       {"DTM_MICRO", "TCO_DELAY", "DTM_MAP_DEVICE", "DTM_MAP_LOGIC_CELL"},
       OUTCOME::CALL,
       call("micro", {TCO_DELAY}, {DEVICE, CELL}),
       {}},
      {"re", {"DTM_RE", "DFF", "DTM_MAP_DEVICE"}, OUTCOME::CALL, call("re", {dff}, {DEVICE}), {}},
      {"table",
       {"DTM_TABLE", "ROW_1", "COL_1", "DTM_MAP_DEVICE"},
       OUTCOME::CALL,
       call("table", {ROW_1, COL_1}, {DEVICE}),
       {}},
      {"ff",
       {"DTM_FF", "REG_CLK", "TSU_DELAY", "DTM_MAP_DEVICE"},
       OUTCOME::CALL,
       call("ff", {DB_BURIED_REG_CLK, TSU_DELAY}, {DEVICE}),
       {}},
      {"output port re",
       {"DTM_OUTPUT_PORT_RE", "LCELL_COMBOUT", "DFF", "DTM_MAP_DEVICE"},
       OUTCOME::CALL,
       call("port_re", {out_c, dff}, {DEVICE}),
       {}},
      {"re input port",
       {"DTM_RE_INPUT_PORT", "DFF", "LCELL_DATAA", "DTM_MAP_DEVICE"},
       OUTCOME::CALL,
       call("re_port", {dff, in_a}, {DEVICE}),
       {}},
      // The re table: element 3 is the condition when it names a descriptor.
      {"re table, no condition",
       {"DTM_RE_TABLE", "DFF", "LATCH", "DTM_MAP_DEVICE"},
       OUTCOME::CALL,
       call("re_table", {dff, latch, DTM_NONE}, {DEVICE}),
       {}},
      {"re table, condition",
       {"DTM_RE_TABLE", "DFF", "LATCH", "MIN_DELAY", "DTM_MAP_DEVICE"},
       OUTCOME::CALL,
       call("re_table", {dff, latch, MIN_DELAY}, {DEVICE}),
       {}},
      {"re table, DTM_NONE",
       {"DTM_RE_TABLE", "DFF", "LATCH", "DTM_NONE", "DTM_MAP_DEVICE"},
       OUTCOME::CALL,
       call("re_table", {dff, latch, DTM_NONE}, {DEVICE}),
       {}},
      {"re table, condition only",
       {"DTM_RE_TABLE", "DFF", "LATCH", "MAX_DELAY"},
       OUTCOME::CALL,
       call("re_table", {dff, latch, MAX_DELAY}),
       {}},
      {"re table, bare",
       {"DTM_RE_TABLE", "DFF", "LATCH"},
       OUTCOME::CALL,
       call("re_table", {dff, latch, DTM_NONE}),
       {}},
      {"re table, null element 3",
       {"DTM_RE_TABLE", "DFF", "LATCH", std::nullopt},
       OUTCOME::SENTINEL,
       "",
       {k_null}},
      // Point to point: the four overloads, never a condition.
      {"p2p in-out",
       {"DTM_P2P", "LCELL_DATAA", "LCELL_COMBOUT", "DTM_MAP_DEVICE"},
       OUTCOME::CALL,
       call("p2p in-out", {in_a, out_c, DTM_NONE}, {DEVICE}),
       {}},
      {"p2p in-buried",
       {"DTM_P2P", "LCELL_DATAA", "REG_D"},
       OUTCOME::CALL,
       call("p2p in-buried", {in_a, bur_d, DTM_NONE}),
       {}},
      {"p2p buried-out",
       {"DTM_P2P", "CLK_GLOBAL_0", "LCELL_COMBOUT"},
       OUTCOME::CALL,
       call("p2p buried-out", {glob, out_c, DTM_NONE}),
       {}},
      {"p2p buried-buried",
       {"DTM_P2P", "CLK_GLOBAL_0", "REG_D", "DTM_MAP_DEVICE"},
       OUTCOME::CALL,
       call("p2p buried-buried", {glob, bur_d, DTM_NONE}, {DEVICE}),
       {}},
      {"p2p output port first",
       {"DTM_P2P", "CLK_GLOBAL_0", "REG_Q"},
       OUTCOME::CALL,
       call("p2p buried-out", {glob, out_q, DTM_NONE}),
       {}},
      {"p2p input port first for a buried name too",
       {"DTM_P2P", "REG_CLK", "REG_D"},
       OUTCOME::CALL,
       call("p2p in-buried", {DB_IN_REG_CLK, bur_d, DTM_NONE}),
       {}},
      {"p2p input port first",
       {"DTM_P2P", "REG_D", "LCELL_COMBOUT"},
       OUTCOME::CALL,
       call("p2p in-out", {in_d, out_c, DTM_NONE}),
       {}},
      {"p2p unknown ports",
       {"DTM_P2P", "NO_SUCH", "NOR_THIS"},
       OUTCOME::CALL,
       call("p2p buried-buried", {DB_MAX_BURIED_PORT_TYPE, DB_MAX_BURIED_PORT_TYPE, DTM_NONE}),
       {}},
      // Unknown names reach the lookup as their fallback, unreported.
      {"unknown descriptors",
       {"DTM_RE_INPUT_PORT", "NO_RE", "NO_PORT", "NO_MAP"},
       OUTCOME::CALL,
       call("re_port", {CDB_RE_ILLEGAL_TYPE, DB_MAX_INPUT_PORT_TYPE}),
       {}},
      // Map types.
      {"re with two elements uses no map types",
       {"DTM_RE", "DFF"},
       OUTCOME::CALL,
       call("re", {dff}),
       {}},
      {"table with three elements uses no map types",
       {"DTM_TABLE", "ROW_1", "COL_1"},
       OUTCOME::CALL,
       call("table", {ROW_1, COL_1}),
       {}},
      {"a null map type ends the path",
       {"DTM_MICRO", "TCO_DELAY", std::nullopt, "DTM_MAP_LOGIC_CELL"},
       OUTCOME::CALL,
       call("micro", {TCO_DELAY}),
       {}},
      {"a null map type further down",
       {"DTM_MICRO", "TCO_DELAY", "DTM_MAP_DEVICE", std::nullopt, "DTM_MAP_LOGIC_CELL"},
       OUTCOME::CALL,
       call("micro", {TCO_DELAY}, {DEVICE}),
       {}},
      {"ten map types at most",
       {"DTM_MICRO", "TCO_DELAY", "DTM_MAP_CORE", "DTM_MAP_LOGIC_ARRAY", "DTM_MAP_LOGIC_BLOCK",
        "DTM_MAP_LOGIC_CELL", "DTM_MAP_LUT", "DTM_MAP_CARRY_CHAIN", "DTM_MAP_SHARED_ARITH",
        "DTM_MAP_CASCADE_CHAIN", "DTM_MAP_REGISTER_CHAIN", "DTM_MAP_CELL_REGISTER", "DTM_MAP_PLL"},
       OUTCOME::CALL,
       call("micro", {TCO_DELAY}, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}),
       {}},
      // Empty queries.
      {"empty vector", {}, OUTCOME::SENTINEL, "", {}},
      {"null element 0", {std::nullopt, "TCO_DELAY"}, OUTCOME::SENTINEL, "", {}},
      // Types without an arm.
      {"unknown type name", {"DTM_NOTHING", "TCO_DELAY"}, OUTCOME::SENTINEL, "", {k_unrecognized}},
      {"integer", {"DTM_INTEGER", "PIPELINE_STAGES", "2"}, OUTCOME::SENTINEL, "", {k_unrecognized}},
      {"general parameter", {"DTM_GENERAL_PARAM", "X"}, OUTCOME::SENTINEL, "", {k_unrecognized}},
      {"root", {"DTM_ROOT"}, OUTCOME::SENTINEL, "", {k_unrecognized}},
      {"map type", {"DTM_MAP_DEVICE", "TCO_DELAY"}, OUTCOME::SENTINEL, "", {k_unrecognized}},
      {"float table", {"DTM_FLOAT_TABLE", "ROW_1", "COL_1"}, OUTCOME::SENTINEL, "", {k_never}},
      {"rc", {"DTM_RC", "DFF", "RC_RESISTANCE"}, OUTCOME::SENTINEL, "", {k_never}},
      {"direction",
       {"DTM_P2P_IN_OUT", "LCELL_DATAA", "LCELL_COMBOUT"},
       OUTCOME::SENTINEL,
       "",
       {k_never}},
      {"rc map type", {"DTM_MAP_RC_LOAD", "X"}, OUTCOME::SENTINEL, "", {k_never}},
      // Null descriptors.
      {"null micro descriptor",
       {"DTM_MICRO", std::nullopt, "DTM_MAP_DEVICE"},
       OUTCOME::SENTINEL,
       "",
       {k_null}},
      {"null second table descriptor",
       {"DTM_TABLE", "ROW_1", std::nullopt},
       OUTCOME::SENTINEL,
       "",
       {k_null}},
      {"null p2p target",
       {"DTM_P2P", "LCELL_DATAA", std::nullopt},
       OUTCOME::SENTINEL,
       "",
       {k_null}},
      // Short vectors.
      {"micro without descriptor", {"DTM_MICRO"}, OUTCOME::OUT_OF_RANGE, "", {}},
      {"table with one descriptor", {"DTM_TABLE", "ROW_1"}, OUTCOME::OUT_OF_RANGE, "", {}},
      {"re table with one descriptor", {"DTM_RE_TABLE", "DFF"}, OUTCOME::OUT_OF_RANGE, "", {}},
      {"p2p with a source only", {"DTM_P2P", "LCELL_DATAA"}, OUTCOME::OUT_OF_RANGE, "", {}},
      {"ff without descriptors", {"DTM_FF"}, OUTCOME::OUT_OF_RANGE, "", {}},
  };
  check_routes(
      cases,
      [](const DTM_STRING::STRINGS* s, const DTM_NODE* n, DTM_TCL_REPORT* r) {
        return static_cast<double>(DTM_STRING::get_delay(s, n, r));
      },
      DTM_ILLEGAL_DELAY);
}

TEST(StringQuery, GetFloatRoutesRcAndFloatTables) {
  const int dff = CDB_RE_DFF;
  const std::vector<ROUTE_CASE> cases = {
      {"rc without edge: rising",
       {"DTM_RC", "DFF", "RC_RESISTANCE", "DTM_MAP_DEVICE"},
       OUTCOME::CALL,
       call("rc", {dff, RC_RESISTANCE, RC_RISE}, {DEVICE}),
       {}},
      {"rc falling",
       {"DTM_RC", "DFF", "RC_RESISTANCE", "RC_FALL", "DTM_MAP_DEVICE"},
       OUTCOME::CALL,
       call("rc", {dff, RC_RESISTANCE, RC_FALL}, {DEVICE}),
       {}},
      {"rc rising, named",
       {"DTM_RC", "DFF", "RC_RESISTANCE", "RC_RISE"},
       OUTCOME::CALL,
       call("rc", {dff, RC_RESISTANCE, RC_RISE}),
       {}},
      {"rc other edge",
       {"DTM_RC", "DFF", "RC_CAPACITANCE", "RC_FALL_SLEW", "DTM_MAP_DEVICE", "DTM_MAP_LOGIC_CELL"},
       OUTCOME::CALL,
       call("rc", {dff, RC_CAPACITANCE, RC_FALL_SLEW}, {DEVICE, CELL}),
       {}},
      {"rc bare",
       {"DTM_RC", "DFF", "RC_RESISTANCE"},
       OUTCOME::CALL,
       call("rc", {dff, RC_RESISTANCE, RC_RISE}),
       {}},
      {"rc null edge",
       {"DTM_RC", "DFF", "RC_RESISTANCE", std::nullopt},
       OUTCOME::SENTINEL,
       "",
       {k_null}},
      {"rc short", {"DTM_RC", "DFF"}, OUTCOME::OUT_OF_RANGE, "", {}},
      {"float table",
       {"DTM_FLOAT_TABLE", "ROW_2", "COL_1", "DTM_MAP_DEVICE"},
       OUTCOME::CALL,
       call("float_table", {ROW_2, COL_1}, {DEVICE}),
       {}},
      {"float table short", {"DTM_FLOAT_TABLE", "ROW_2"}, OUTCOME::OUT_OF_RANGE, "", {}},
      {"empty", {}, OUTCOME::SENTINEL, "", {}},
      {"integer", {"DTM_INTEGER", "X"}, OUTCOME::SENTINEL, "", {k_unrecognized}},
      {"micro has no float arm", {"DTM_MICRO", "TCO_DELAY"}, OUTCOME::SENTINEL, "", {k_never}},
      {"table has no float arm", {"DTM_TABLE", "ROW_1", "COL_1"}, OUTCOME::SENTINEL, "", {k_never}},
  };
  check_routes(
      cases,
      [](const DTM_STRING::STRINGS* s, const DTM_NODE* n, DTM_TCL_REPORT* r) {
        return DTM_STRING::get_float(s, n, r);
      },
      DTM_ILLEGAL_FLOAT);
}

TEST(StringQuery, NullArgumentsAreReported) {
  MEMORY_GUARD memory;
  const QUERY_STRINGS strings({"DTM_MICRO", "TCO_DELAY"});
  RECORDING_NODE node;
  DTM_TCL_REPORT report;
  const std::string text = "(str_vector != 0) && (node != 0) && (tcl_report != 0)";
  MSG_CAPTURE capture;
  EXPECT_EQ(DTM_STRING::get_delay(nullptr, &node, &report), DTM_ILLEGAL_DELAY);
  EXPECT_EQ(DTM_STRING::get_delay(strings.get(), nullptr, &report), DTM_ILLEGAL_DELAY);
  EXPECT_EQ(DTM_STRING::get_delay(strings.get(), &node, nullptr), DTM_ILLEGAL_DELAY);
  EXPECT_EQ(DTM_STRING::get_float(strings.get(), &node, nullptr), DTM_ILLEGAL_FLOAT);
  EXPECT_EQ(capture.count_text(text), 4U);
  EXPECT_EQ(capture.get_count(), 4U);
  EXPECT_TRUE(node.m_calls.empty());
}

// --- Against a real model ----------------------------------------------------------

TEST(StringQuery, AnswersFromABuiltModel) {
  MEMORY_GUARD memory;
  const DTM_NODE_ENUM dev = DTM_MAP_DEVICE;
  const DTM_NODE_ENUM cell = DTM_MAP_LOGIC_CELL;
  DTM_NODE root(DTM_ROOT, true);
  ASSERT_TRUE(root.add_micro_node_delay(120, TCO_DELAY, dev));
  ASSERT_TRUE(root.add_micro_node_delay(5, TCO_DELAY));
  ASSERT_TRUE(root.add_re_node_delay(33, CDB_RE_DFF, dev));
  ASSERT_TRUE(root.add_table_node_delay(17, ROW_1, COL_2, dev, cell));
  ASSERT_TRUE(root.add_re_table_node_delay(40, CDB_RE_DFF, CDB_RE_LATCH, DTM_NONE, dev));
  ASSERT_TRUE(root.add_re_table_node_delay(41, CDB_RE_DFF, CDB_RE_LATCH, MIN_DELAY, dev));
  ASSERT_TRUE(root.add_ff_node_delay(60, DB_BURIED_REG_CLK, TSU_DELAY, dev));
  ASSERT_TRUE(root.add_port_re_node_delay(70, DB_OUT_LCELL_COMBOUT, CDB_RE_DFF, dev));
  ASSERT_TRUE(root.add_re_port_node_delay(80, CDB_RE_DFF, DB_IN_LCELL_DATAA, dev));
  ASSERT_TRUE(root.add_p2p_node_delay(300, DB_IN_LCELL_DATAA, DB_OUT_LCELL_COMBOUT, DTM_NONE, dev));
  ASSERT_TRUE(
      root.add_p2p_node_delay(301, DB_IN_LCELL_DATAA, DB_OUT_LCELL_COMBOUT, MIN_DELAY, dev, cell));
  ASSERT_TRUE(root.add_p2p_node_delay(9, DB_BURIED_CLK_GLOBAL_0, DB_BURIED_REG_D, DTM_NONE, dev));
  ASSERT_TRUE(root.add_p2p_node_delay(10, DB_BURIED_REG_CLK, DB_BURIED_REG_D, DTM_NONE, dev));
  ASSERT_TRUE(root.add_rc_float(1.5, CDB_RE_DFF, RC_RESISTANCE, RC_RISE, dev));
  ASSERT_TRUE(root.add_rc_float(2.5, CDB_RE_DFF, RC_RESISTANCE, RC_FALL, dev));
  ASSERT_TRUE(root.add_float_table_node_delay(0.75, ROW_2, COL_1, dev));

  struct CASE {
    NAMES m_names;
    std::int32_t m_delay;
  };
  const std::vector<CASE> delays = {
      {{"DTM_MICRO", "TCO_DELAY", "DTM_MAP_DEVICE"}, 120},
      {{"DTM_MICRO", "TCO_DELAY"}, 5},
      {{"DTM_MICRO", "TSU_DELAY", "DTM_MAP_DEVICE"}, DTM_ILLEGAL_DELAY},
      {{"DTM_MICRO", "TCO_DELAY", "DTM_MAP_LOGIC_CELL"}, DTM_ILLEGAL_DELAY},
      {{"DTM_RE", "DFF", "DTM_MAP_DEVICE"}, 33},
      {{"DTM_TABLE", "ROW_1", "COL_2", "DTM_MAP_DEVICE", "DTM_MAP_LOGIC_CELL"}, 17},
      {{"DTM_RE_TABLE", "DFF", "LATCH", "DTM_MAP_DEVICE"}, 40},
      {{"DTM_RE_TABLE", "DFF", "LATCH", "MIN_DELAY", "DTM_MAP_DEVICE"}, 41},
      {{"DTM_RE_TABLE", "DFF", "LATCH", "MAX_DELAY", "DTM_MAP_DEVICE"}, DTM_ILLEGAL_DELAY},
      {{"DTM_FF", "REG_CLK", "TSU_DELAY", "DTM_MAP_DEVICE"}, 60},
      {{"DTM_OUTPUT_PORT_RE", "LCELL_COMBOUT", "DFF", "DTM_MAP_DEVICE"}, 70},
      {{"DTM_RE_INPUT_PORT", "DFF", "LCELL_DATAA", "DTM_MAP_DEVICE"}, 80},
      {{"DTM_P2P", "LCELL_DATAA", "LCELL_COMBOUT", "DTM_MAP_DEVICE"}, 300},
      // A conditioned point-to-point delay is out of reach of a query.
      {{"DTM_P2P", "LCELL_DATAA", "LCELL_COMBOUT", "DTM_MAP_DEVICE", "DTM_MAP_LOGIC_CELL"},
       DTM_ILLEGAL_DELAY},
      {{"DTM_P2P", "CLK_GLOBAL_0", "REG_D", "DTM_MAP_DEVICE"}, 9},
      // REG_CLK is an input port too, and the input table comes first.
      {{"DTM_P2P", "REG_CLK", "REG_D", "DTM_MAP_DEVICE"}, DTM_ILLEGAL_DELAY},
      {{"DTM_P2P", "LCELL_DATAA", "REG_D", "DTM_MAP_DEVICE"}, DTM_ILLEGAL_DELAY},
  };
  DTM_TCL_REPORT report;
  MSG_CAPTURE capture;
  for (const CASE& c : delays) {
    const QUERY_STRINGS strings(c.m_names);
    EXPECT_EQ(DTM_STRING::get_delay(strings.get(), &root, &report), c.m_delay)
        << *c.m_names.at(0) << " " << *c.m_names.at(1);
  }
  const auto float_of = [&](const NAMES& names) {
    const QUERY_STRINGS strings(names);
    return DTM_STRING::get_float(strings.get(), &root, &report);
  };
  EXPECT_DOUBLE_EQ(float_of({"DTM_RC", "DFF", "RC_RESISTANCE", "DTM_MAP_DEVICE"}), 1.5);
  EXPECT_DOUBLE_EQ(float_of({"DTM_RC", "DFF", "RC_RESISTANCE", "RC_FALL", "DTM_MAP_DEVICE"}), 2.5);
  EXPECT_EQ(float_of({"DTM_RC", "DFF", "RC_CAPACITANCE", "DTM_MAP_DEVICE"}), DTM_ILLEGAL_FLOAT);
  EXPECT_DOUBLE_EQ(float_of({"DTM_FLOAT_TABLE", "ROW_2", "COL_1", "DTM_MAP_DEVICE"}), 0.75);
  // An absent key answers the float tree's sentinel, an absent leaf the
  // float table's.
  EXPECT_EQ(float_of({"DTM_FLOAT_TABLE", "ROW_1", "COL_1", "DTM_MAP_DEVICE"}), DTM_ILLEGAL_FLOAT);
  EXPECT_EQ(float_of({"DTM_FLOAT_TABLE", "ROW_2", "COL_1", "DTM_MAP_DEVICE", "DTM_MAP_LOGIC_CELL"}),
            DTM_ILLEGAL_TABLE_FLOAT);
  EXPECT_EQ(capture.get_count(), 0U);
}

// A name is read as its C text: a string with a NUL inside names what stands
// before the NUL, whichever enumeration it is looked up in.
TEST(StringQuery, NamesEndAtAnEmbeddedNul) {
  MEMORY_GUARD memory;
  DTM_NODE root(DTM_ROOT, true);
  ASSERT_TRUE(root.add_micro_node_delay(120, TCO_DELAY, DTM_MAP_DEVICE));
  ASSERT_TRUE(
      root.add_re_table_node_delay(41, CDB_RE_DFF, CDB_RE_LATCH, MIN_DELAY, DTM_MAP_DEVICE));
  ASSERT_TRUE(root.add_p2p_node_delay(9, DB_BURIED_CLK_GLOBAL_0, DB_BURIED_REG_D, DTM_NONE,
                                      DTM_MAP_DEVICE));
  const std::string nul(1, '\0');
  struct CASE {
    NAMES m_names;
    std::int32_t m_delay;
  };
  const std::vector<CASE> cases = {
      {{"DTM_MICRO" + nul + "X", "TCO_DELAY" + nul, "DTM_MAP_DEVICE" + nul + "DTM_MAP_CORE"}, 120},
      {{"DTM_MICRO", "TCO" + nul + "_DELAY", "DTM_MAP_DEVICE"}, DTM_ILLEGAL_DELAY},
      {{"DTM_RE_TABLE", "DFF" + nul, "LATCH", "MIN_DELAY" + nul + "Z", "DTM_MAP_DEVICE"}, 41},
      {{"DTM_P2P", "CLK_GLOBAL_0" + nul + "1", "REG_D" + nul, "DTM_MAP_DEVICE"}, 9},
      {{"DTM_P2P", "CLK_GLOBAL_0", "REG_D", nul + "DTM_MAP_DEVICE"}, DTM_ILLEGAL_DELAY},
  };
  DTM_TCL_REPORT report;
  MSG_CAPTURE capture;
  for (const CASE& c : cases) {
    const QUERY_STRINGS strings(c.m_names);
    EXPECT_EQ(DTM_STRING::get_delay(strings.get(), &root, &report), c.m_delay)
        << c.m_names.at(1)->c_str();
  }
  EXPECT_EQ(capture.get_count(), 0U);
}

// --- Placeholders and the report ------------------------------------------------------

TEST(StringQuery, SetAndAddDelayDoNothing) {
  MEMORY_GUARD memory;
  MSG_CAPTURE capture;
  DTM_NODE root(DTM_ROOT, true);
  ASSERT_TRUE(root.add_micro_node_delay(120, TCO_DELAY, DTM_MAP_DEVICE));
  std::ostringstream before;
  root.dump_tree(before, 0, 1, 1);
  const QUERY_STRINGS strings({"DTM_MICRO", "TCO_DELAY", "DTM_MAP_DEVICE"});
  DTM_TCL_REPORT report;
  EXPECT_EQ(DTM_STRING::set_delay(7, strings.get(), &root, &report), 0);
  EXPECT_EQ(DTM_STRING::add_delay(8, strings.get(), &root, &report), 0);
  EXPECT_EQ(DTM_STRING::set_delay(7, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(DTM_STRING::add_delay(8, nullptr, nullptr, nullptr), 0);
  std::ostringstream after;
  root.dump_tree(after, 0, 1, 1);
  EXPECT_EQ(after.str(), before.str());
  EXPECT_EQ(report.get_value(), 0);
  EXPECT_EQ(capture.get_count(), 0U);
}

TEST(TclReport, StartsEmptyAndResets) {
  MEMORY_GUARD memory;
  auto* report = new DTM_TCL_REPORT;
  EXPECT_EQ(report->get_value(), 0);
  EXPECT_EQ(report->get_text(), "");
  const std::string text = "a text long enough to need storage of its own, beyond any small buffer";
  report->set_value(-42);
  report->set_text(text);
  EXPECT_EQ(report->get_value(), -42);
  EXPECT_EQ(report->get_text(), text.c_str());
  report->reset();
  EXPECT_EQ(report->get_value(), 0);
  EXPECT_EQ(report->get_text(), "");
  report->set_text("again");
  delete report;  // virtual destructor, text released: the guard sees no leak
}

}  // namespace
