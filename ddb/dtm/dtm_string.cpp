// DTM_STRING: enumeration names through the translator. Name to value gives
// the value of a known name and the enumeration's fallback otherwise.
#include "dtm_string.h"

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

#include "dbs_translator.h"
#include "dtm_gen.h"
#include "dtm_node.h"
#include "dtm_report.h"
#include "dtm_tcl_report.h"

const char* DTM_STRING::get_dtm_enum_string(DTM_ENUM value) noexcept {
  const DBS_TRANSLATOR translator;
  return translator.get_debug_string_name(value);
}

const char* DTM_STRING::get_dtm_enum_string(int value) noexcept {
  return get_dtm_enum_string(static_cast<DTM_ENUM>(value));
}

const char* DTM_STRING::get_dtm_node_enum_string(DTM_NODE_ENUM value) noexcept {
  const DBS_TRANSLATOR translator;
  return translator.get_debug_string_name(value);
}

const char* DTM_STRING::get_dtm_node_enum_string(int value) noexcept {
  return get_dtm_node_enum_string(static_cast<DTM_NODE_ENUM>(value));
}

// Each conversion is one probe of the translator's table: its get answers
// the value of a known name and the enumeration's fallback for any other
// (an unknown or null name), which is what asking whether the name exists
// first would give, at the price of a second probe.
DTM_ENUM DTM_STRING::get_dtm_enum(const char* name) noexcept {
  return DBS_TRANSLATOR::get_dtm_enum_by_string(name);
}

DTM_NODE_ENUM DTM_STRING::get_dtm_node_enum(const char* name) noexcept {
  return DBS_TRANSLATOR::get_dtm_node_enum_by_string(name);
}

DB_INPUT_PORT_TYPE DTM_STRING::get_db_input_port_type_enum(const char* name) noexcept {
  return DBS_TRANSLATOR::get_input_port_type_by_string(name);
}

DB_OUTPUT_PORT_TYPE DTM_STRING::get_db_output_port_type_enum(const char* name) noexcept {
  return DBS_TRANSLATOR::get_output_port_type_by_string(name);
}

DB_BURIED_PORT_TYPE DTM_STRING::get_db_buried_port_type_enum(const char* name) noexcept {
  return DBS_TRANSLATOR::get_buried_port_type_by_string(name);
}

// No translator: the register-element names are searched in CDB_RE_TYPE_STRING
// (first equal entry, 604 when none), through its hash index.
CDB_RE_TYPE DTM_STRING::get_cdb_re_type_enum(const char* name) noexcept {
  return cdb_re_type_find(name);
}

// ---- Queries by strings -----------------------------------------------------------
//
// One skeleton (run_query) serves both get_delay and get_float: it checks the
// arguments, names the node type, fills the map-type path and hands over to
// the arm of the type, a row of a table. An arm reads its descriptors in
// order (ask) and calls one lookup of the node tree.

namespace {

constexpr const char* k_source = "dtm_string";

using STRINGS = DTM_STRING::STRINGS;

// The value a query answers after a report or for an empty query.
template <class VALUE>
constexpr VALUE failure_value() {
  if constexpr (std::is_same_v<VALUE, double>) {
    return DTM_ILLEGAL_FLOAT;
  } else {
    return DTM_ILLEGAL_DELAY;
  }
}

// Element `k` of a query, read with checked access.
const std::string* element(const STRINGS& strings, std::size_t k) {
  if (k >= strings.size()) {
    throw std::out_of_range("invalid vector<T> subscript");
  }
  return strings[k];
}

// The name of descriptor `k`: null (reported) when the element is null.
const std::string* descriptor(const STRINGS& strings, std::size_t k) {
  const std::string* name = element(strings, k);
  return dtm_assert(name != nullptr, "temp_str != 0", k_source) ? name : nullptr;
}

// A name of a query in the enumeration of `value`'s type, in one probe of
// the translator with the length the string already knows: true and `value`
// set when the enumeration holds it. The name is what the string's C text
// holds, so a string with a NUL inside (which no table name matches whole)
// is asked again up to that NUL.
template <class ENUM>
bool find_name(const std::string& name, ENUM& value) noexcept {
  if (DBS_TRANSLATOR::find_value(std::string_view(name), value)) {
    return true;
  }
  return name.find('\0') != std::string::npos &&
         DBS_TRANSLATOR::find_value(std::string_view(name.c_str()), value);
}

// The value of a name, or the enumeration's fallback.
template <class ENUM>
ENUM convert(const std::string& name, ENUM fallback) noexcept {
  ENUM value = fallback;
  find_name(name, value);
  return value;
}

DTM_ENUM as_enum(const std::string& name) noexcept { return convert(name, DTM_NONE); }
CDB_RE_TYPE as_re(const std::string& name) noexcept { return convert(name, CDB_RE_ILLEGAL_TYPE); }
DB_BURIED_PORT_TYPE as_buried(const std::string& name) noexcept {
  return convert(name, DB_MAX_BURIED_PORT_TYPE);
}
DB_OUTPUT_PORT_TYPE as_output(const std::string& name) noexcept {
  return convert(name, DB_MAX_OUTPUT_PORT_TYPE);
}
DB_INPUT_PORT_TYPE as_input(const std::string& name) noexcept {
  return convert(name, DB_MAX_INPUT_PORT_TYPE);
}

// What an arm works with.
struct QUERY {
  const STRINGS& m_strings;
  const DTM_NODE& m_node;
  DTM_PATH m_path;
  // Whether the query gives the type's optional descriptor, and its value.
  bool m_has_optional;
  DTM_ENUM m_optional;
};

// Reads descriptors 1, 2, ... of the query in order, converts each with its
// function and calls `lookup` with the values; stops at a null descriptor.
template <class VALUE, class LOOKUP, class... CONVERT, std::size_t... I>
VALUE ask_in_order(const QUERY& q, LOOKUP lookup, std::index_sequence<I...>, CONVERT... convert) {
  std::tuple<std::invoke_result_t<CONVERT, const std::string&>...> values{};
  const bool complete = ([&] {
    const std::string* name = descriptor(q.m_strings, I + 1);
    if (name == nullptr) {
      return false;
    }
    std::get<I>(values) = convert(*name);
    return true;
  }() && ...);
  return complete ? std::apply(lookup, values) : failure_value<VALUE>();
}

template <class VALUE, class LOOKUP, class... CONVERT>
VALUE ask(const QUERY& q, LOOKUP lookup, CONVERT... convert) {
  return ask_in_order<VALUE>(q, lookup, std::index_sequence_for<CONVERT...>{}, convert...);
}

const std::string* as_name(const std::string& name) noexcept { return &name; }

// The optional DTM_ENUM descriptor, or `absent` when the query has none.
DTM_ENUM optional_descriptor(const QUERY& q, DTM_ENUM absent) {
  return q.m_has_optional ? q.m_optional : absent;
}

// A point-to-point source is an input port, else a buried port; a target an
// output port, else a buried port. `next` receives the typed value.
template <class NEXT>
std::int32_t as_source(const std::string* name, NEXT next) {
  const DB_INPUT_PORT_TYPE input = as_input(*name);
  return input != DB_MAX_INPUT_PORT_TYPE ? next(input) : next(as_buried(*name));
}
template <class NEXT>
std::int32_t as_target(const std::string* name, NEXT next) {
  const DB_OUTPUT_PORT_TYPE output = as_output(*name);
  return output != DB_MAX_OUTPUT_PORT_TYPE ? next(output) : next(as_buried(*name));
}

template <class VALUE>
struct QUERY_ARM {
  DTM_NODE_ENUM m_type;
  std::size_t m_first_map;  // the first element holding a map type
  bool m_has_optional;      // m_first_map may hold an optional DTM_ENUM descriptor instead
  VALUE (*m_lookup)(const QUERY&);
};

constexpr auto k_enum = &as_enum;
constexpr auto k_re = &as_re;

const QUERY_ARM<std::int32_t> k_delay_arms[] = {
    {DTM_P2P, 3, false,
     [](const QUERY& q) {
       return ask<std::int32_t>(
           q,
           [&](const std::string* source, const std::string* target) {
             return as_source(source, [&](auto src) {
               return as_target(target, [&](auto dst) {
                 return q.m_node.get_p2p_node_delay(src, dst, DTM_NONE, DTM_PATH_SPREAD(q.m_path));
               });
             });
           },
           &as_name, &as_name);
     }},
    {DTM_TABLE, 3, false,
     [](const QUERY& q) {
       return ask<std::int32_t>(
           q,
           [&](DTM_ENUM row, DTM_ENUM col) {
             return q.m_node.get_table_node_delay(row, col, DTM_PATH_SPREAD(q.m_path));
           },
           k_enum, k_enum);
     }},
    {DTM_MICRO, 2, false,
     [](const QUERY& q) {
       return ask<std::int32_t>(
           q,
           [&](DTM_ENUM kind) {
             return q.m_node.get_micro_node_delay(kind, DTM_PATH_SPREAD(q.m_path));
           },
           k_enum);
     }},
    {DTM_RE, 2, false,
     [](const QUERY& q) {
       return ask<std::int32_t>(
           q,
           [&](CDB_RE_TYPE re) {
             return q.m_node.get_re_node_delay(re, DTM_PATH_SPREAD(q.m_path));
           },
           k_re);
     }},
    {DTM_RE_TABLE, 3, true,
     [](const QUERY& q) {
       return ask<std::int32_t>(
           q,
           [&](CDB_RE_TYPE re1, CDB_RE_TYPE re2) {
             return q.m_node.get_re_table_node_delay(re1, re2, optional_descriptor(q, DTM_NONE),
                                                     DTM_PATH_SPREAD(q.m_path));
           },
           k_re, k_re);
     }},
    {DTM_FF, 3, false,
     [](const QUERY& q) {
       return ask<std::int32_t>(
           q,
           [&](DB_BURIED_PORT_TYPE port, DTM_ENUM kind) {
             return q.m_node.get_ff_node_delay(port, kind, DTM_PATH_SPREAD(q.m_path));
           },
           &as_buried, k_enum);
     }},
    {DTM_OUTPUT_PORT_RE, 3, false,
     [](const QUERY& q) {
       return ask<std::int32_t>(
           q,
           [&](DB_OUTPUT_PORT_TYPE port, CDB_RE_TYPE re) {
             return q.m_node.get_port_re_node_delay(port, re, DTM_PATH_SPREAD(q.m_path));
           },
           &as_output, k_re);
     }},
    {DTM_RE_INPUT_PORT, 3, false,
     [](const QUERY& q) {
       return ask<std::int32_t>(
           q,
           [&](CDB_RE_TYPE re, DB_INPUT_PORT_TYPE port) {
             return q.m_node.get_re_port_node_delay(re, port, DTM_PATH_SPREAD(q.m_path));
           },
           k_re, &as_input);
     }},
};

const QUERY_ARM<double> k_float_arms[] = {
    {DTM_FLOAT_TABLE, 3, false,
     [](const QUERY& q) {
       return ask<double>(
           q,
           [&](DTM_ENUM row, DTM_ENUM col) {
             return q.m_node.get_float_table_node_delay(row, col, DTM_PATH_SPREAD(q.m_path));
           },
           k_enum, k_enum);
     }},
    // Without an edge, the rising edge: where a line with three descriptors
    // stores its delay.
    {DTM_RC, 3, true,
     [](const QUERY& q) {
       return ask<double>(
           q,
           [&](CDB_RE_TYPE re, DTM_ENUM kind) {
             return q.m_node.get_rc_float(re, kind, optional_descriptor(q, RC_RISE),
                                          DTM_PATH_SPREAD(q.m_path));
           },
           k_re, k_enum);
     }},
};

template <class VALUE, std::size_t N>
VALUE run_query(const STRINGS* strings, const DTM_NODE* node, const DTM_TCL_REPORT* report,
                const QUERY_ARM<VALUE> (&arms)[N]) {
  if (!dtm_assert(strings != nullptr && node != nullptr && report != nullptr,
                  "(str_vector != 0) && (node != 0) && (tcl_report != 0)", k_source)) {
    return failure_value<VALUE>();
  }
  if (strings->empty() || strings->front() == nullptr) {
    return failure_value<VALUE>();
  }
  const DTM_NODE_ENUM type = convert(*strings->front(), DTM_NODE_NONE);
  if (!dtm_assert(type >= DTM_P2P && type <= DTM_RE_INPUT_PORT, "Unrecognized node type",
                  k_source)) {
    return failure_value<VALUE>();
  }
  const QUERY_ARM<VALUE>* arm = nullptr;
  for (const QUERY_ARM<VALUE>& candidate : arms) {
    if (candidate.m_type == type) {
      arm = &candidate;
      break;
    }
  }
  if (!dtm_assert(arm != nullptr, "Should never get here!", k_source)) {
    return failure_value<VALUE>();
  }
  // An optional descriptor is told from a map type by its name: it is one
  // when it names a DTM_ENUM member (no map type does).
  std::size_t first_map = arm->m_first_map;
  bool has_optional = false;
  DTM_ENUM optional = DTM_NONE;
  if (arm->m_has_optional && strings->size() > first_map) {
    const std::string* name = (*strings)[first_map];
    if (!dtm_assert(name != nullptr, "temp_str != 0", k_source)) {
      return failure_value<VALUE>();
    }
    if (find_name(*name, optional)) {
      has_optional = true;
      ++first_map;
    }
  }
  DTM_PATH path;
  for (std::size_t k = first_map; k < strings->size() && k - first_map < DTM_PATH_LENGTH; ++k) {
    if (const std::string* name = (*strings)[k]; name != nullptr) {
      path.m_places[k - first_map] = convert(*name, DTM_NODE_NONE);
    }
  }
  return arm->m_lookup(QUERY{*strings, *node, path, has_optional, optional});
}

}  // namespace

std::int32_t DTM_STRING::get_delay(const STRINGS* str_vector, const DTM_NODE* node,
                                   DTM_TCL_REPORT* tcl_report) {
  return run_query(str_vector, node, tcl_report, k_delay_arms);
}

double DTM_STRING::get_float(const STRINGS* str_vector, const DTM_NODE* node,
                             DTM_TCL_REPORT* tcl_report) {
  return run_query(str_vector, node, tcl_report, k_float_arms);
}

std::int32_t DTM_STRING::set_delay(std::int32_t, const STRINGS*, const DTM_NODE*, DTM_TCL_REPORT*) {
  return 0;
}

std::int32_t DTM_STRING::add_delay(std::int32_t, const STRINGS*, const DTM_NODE*, DTM_TCL_REPORT*) {
  return 0;
}

DTM_NODE* DTM_STRING::add_new_dmf_info(const char* file_name, DTM_NODE* root, DEV_FAMILY_ENUM) {
  if (!dtm_assert(file_name != nullptr && root != nullptr, "(file_name != 0) && (root != 0)",
                  k_source)) {
    return root;
  }
  DTM_NODE* built = DTM_FACTORY().build_nodes(root, file_name, false, false, nullptr);
  dtm_assert(built != nullptr, "root != 0", k_source);
  return built;
}
