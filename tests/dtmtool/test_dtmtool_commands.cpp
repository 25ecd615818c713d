// The subcommands on good and bad files: exit status, standard output and
// standard error, compared with golden files.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "dtmtool_run.h"

namespace {

const std::string k_data = "tests/data/dtmtool/";

struct GOLDEN_CASE {
  const char* m_name;  // golden file: commands/<name>.txt
  std::vector<std::string> m_args;
  int m_status;
};

// One text per run: the status, then both streams.
std::string transcript(const TOOL_RUN& run) {
  return "status " + std::to_string(run.m_status) + "\n--- stdout\n" + run.m_out + "--- stderr\n" +
         run.m_err;
}

TEST(DtmtoolCommands, GoldenRuns) {
  const std::vector<GOLDEN_CASE> cases = {
      {"check-good", {"check", k_data + "good.dmf"}, 0},
      {"check-bad", {"check", k_data + "bad.dmf"}, 1},
      {"check-duplicate-warns", {"check", k_data + "duplicate.dmf"}, 0},
      {"check-mismatch", {"check", k_data + "mismatch.dmf"}, 1},
      {"check-two-files",
       {"check", "--device", "DEVA", k_data + "good.dmf", k_data + "sections.dmf"},
       0},
      {"check-across-files",
       {"check", k_data + "good.dmf", k_data + "mismatch.dmf", k_data + "bad.dmf"},
       1},
      {"check-no-such-device", {"check", "--device", "DEVC", k_data + "sections.dmf"}, 1},
      {"check-bin", {"check", "--bin", "C7", k_data + "good.dmf"}, 0},
      {"check-missing-bin", {"check", "--bin", "C9", "--version", "V2", k_data + "good.dmf"}, 1},
      {"devices", {"devices", k_data + "sections.dmf"}, 0},
      {"devices-plain", {"devices", k_data + "good.dmf"}, 1},
      {"export-good", {"export", k_data + "good.dmf", "-o", "-"}, 0},
      {"export-device", {"export", "--device=DEVB", k_data + "sections.dmf", "-o", "-"}, 0},
      {"export-bin-version",
       {"export", "--bin", "C7", "--version", "V2", k_data + "good.dmf", "-o", "-"},
       0},
      {"export-bad", {"export", k_data + "bad.dmf", "-o", "-"}, 1},
      {"dump-outline", {"dump", k_data + "good.dmf"}, 0},
      {"dump-paths", {"dump", "--paths", k_data + "good.dmf"}, 0},
      {"dump-device", {"dump", "--outline", "--device", "DEVB", k_data + "sections.dmf"}, 0},
      {"dump-bad", {"dump", k_data + "bad.dmf"}, 1},
      {"query-micro",
       {"query", k_data + "good.dmf", "DTM_MICRO", "TCO_DELAY", "DTM_MAP_DEVICE",
        "DTM_MAP_LOGIC_CELL"},
       0},
      {"query-bin",
       {"query", "--bin", "C7", k_data + "good.dmf", "DTM_MICRO", "TSU_DELAY", "DTM_MAP_DEVICE",
        "DTM_MAP_LOGIC_CELL"},
       0},
      {"query-p2p",
       {"query", k_data + "good.dmf", "DTM_P2P", "LCELL_DATAA", "REG_D", "DTM_MAP_DEVICE",
        "DTM_MAP_LOGIC_CELL"},
       0},
      {"query-re-table-condition",
       {"query", k_data + "good.dmf", "DTM_RE_TABLE", "LCELL_FF_E", "LCELL_FF", "MIN_DELAY",
        "DTM_MAP_DEVICE"},
       0},
      {"query-rc-fall",
       {"query", k_data + "good.dmf", "DTM_RC", "IO_IN_FF", "RC_RESISTANCE", "RC_FALL",
        "DTM_MAP_DEVICE", "DTM_MAP_IO_CELL"},
       0},
      {"query-float-table",
       {"query", k_data + "good.dmf", "DTM_FLOAT_TABLE", "ROW_0", "COL_1", "DTM_MAP_DEVICE",
        "DTM_MAP_IO_CELL"},
       0},
      {"query-none",
       {"query", k_data + "good.dmf", "DTM_MICRO", "TPD_DELAY", "DTM_MAP_DEVICE",
        "DTM_MAP_LOGIC_CELL"},
       1},
      {"query-unknown-name",
       {"query", k_data + "good.dmf", "DTM_MICRO", "TCO_DELAY", "DTM_MAP_DEVCE"},
       1},
      {"query-too-few-names", {"query", k_data + "good.dmf", "DTM_TABLE", "ROW_1"}, 2},
      {"query-unserved-type",
       {"query", k_data + "good.dmf", "DTM_INTEGER", "PIPELINE_STAGES", "0"},
       2},
      {"query-bad-model", {"query", k_data + "bad.dmf", "DTM_MICRO", "TCO_DELAY"}, 1},
      {"diff-equal", {"diff", k_data + "good.dmf", k_data + "good.dmf"}, 0},
      {"diff", {"diff", k_data + "good.dmf", k_data + "good-changed.dmf"}, 1},
      {"diff-reversed", {"diff", k_data + "good-changed.dmf", k_data + "good.dmf"}, 1},
      {"diff-values", {"diff", "--values", k_data + "good.dmf", k_data + "good-changed.dmf"}, 1},
      {"diff-missing", {"diff", "--missing", k_data + "good.dmf", k_data + "good-changed.dmf"}, 1},
      {"diff-tolerance",
       {"diff", "--tolerance", "0.001", k_data + "good.dmf", k_data + "good-changed.dmf"},
       1},
      {"diff-devices",
       {"diff", "--device", "DEVA", k_data + "sections.dmf", k_data + "good.dmf"},
       1},
      {"diff-bad-model", {"diff", k_data + "good.dmf", k_data + "bad.dmf"}, 2},
  };
  for (const GOLDEN_CASE& c : cases) {
    SCOPED_TRACE(c.m_name);
    const TOOL_RUN run = run_dtmtool(c.m_args);
    EXPECT_EQ(run.m_status, c.m_status);
    expect_golden(std::string("commands/") + c.m_name + ".txt", transcript(run));
  }
}

TEST(DtmtoolCommands, ExportWritesTheFileItIsGiven) {
  const TEST_DIR dir;
  const std::string out = dir.path("out.dmf");
  const TOOL_RUN to_file = run_dtmtool({"export", k_data + "good.dmf", "-o", out});
  EXPECT_EQ(to_file.m_status, 0);
  EXPECT_EQ(to_file.m_out, "");
  EXPECT_EQ(to_file.m_err, "");
  const TOOL_RUN to_stdout = run_dtmtool({"export", k_data + "good.dmf", "--output", "-"});
  EXPECT_EQ(TEST_DIR::read(out), to_stdout.m_out);
  EXPECT_NE(
      to_stdout.m_out.find("\n120 || DTM_MAP_DEVICE DTM_MAP_LOGIC_CELL || DTM_MICRO TCO_DELAY\n"),
      std::string::npos);
}

TEST(DtmtoolCommands, BuildWritesNothingWhenThereAreReports) {
  const TEST_DIR dir;
  const std::string model = dir.path("model.ddb");
  for (const char* file : {"bad.dmf", "mismatch.dmf"}) {
    SCOPED_TRACE(file);
    const TOOL_RUN run = run_dtmtool({"build", k_data + file, "-o", model});
    EXPECT_EQ(run.m_status, 1);
    EXPECT_EQ(run.m_out, "");
    EXPECT_NE(run.m_err.find("; " + model + " not written\n"), std::string::npos) << run.m_err;
    EXPECT_FALSE(std::filesystem::exists(model));
  }
  // An existing database stays as it was.
  const std::string before = "not touched";
  dir.write("model.ddb", before);
  EXPECT_EQ(run_dtmtool({"build", k_data + "bad.dmf", "-o", model}).m_status, 1);
  EXPECT_EQ(TEST_DIR::read(model), before);
}

TEST(DtmtoolCommands, DatabasesAnswerAsTheTextTheyWereBuiltFrom) {
  const TEST_DIR dir;
  const std::string model = dir.path("good.ddb");
  const TOOL_RUN build = run_dtmtool({"build", k_data + "good.dmf", "-o", model});
  ASSERT_EQ(build.m_status, 0) << build.m_err;
  EXPECT_EQ(build.m_out, "");
  EXPECT_EQ(build.m_err, "");
  ASSERT_TRUE(std::filesystem::exists(model));
  const std::vector<std::vector<std::string>> commands = {
      {"dump"},
      {"dump", "--paths"},
      {"query", "DTM_MICRO", "TCO_DELAY", "DTM_MAP_DEVICE", "DTM_MAP_LOGIC_CELL"},
      {"query", "DTM_RC", "IO_IN_FF", "RC_RESISTANCE", "RC_FALL", "DTM_MAP_DEVICE",
       "DTM_MAP_IO_CELL"},
      {"query", "DTM_MICRO", "TPD_DELAY", "DTM_MAP_DEVICE", "DTM_MAP_LOGIC_CELL"},
      {"export", "-o", "-"},
  };
  for (const std::vector<std::string>& command : commands) {
    SCOPED_TRACE(command[0]);
    std::vector<std::string> from_text = command;
    std::vector<std::string> from_database = command;
    from_text.insert(from_text.begin() + 1, k_data + "good.dmf");
    from_database.insert(from_database.begin() + 1, model);
    const TOOL_RUN text = run_dtmtool(from_text);
    const TOOL_RUN database = run_dtmtool(from_database);
    EXPECT_EQ(database.m_status, text.m_status);
    if (command[0] == "export") {  // the first line names the input
      EXPECT_EQ(database.m_out.substr(database.m_out.find('\n')),
                text.m_out.substr(text.m_out.find('\n')));
    } else {
      EXPECT_EQ(database.m_out, text.m_out);
    }
  }
  for (const bool reversed : {false, true}) {
    const TOOL_RUN diff = reversed ? run_dtmtool({"diff", model, k_data + "good.dmf"})
                                   : run_dtmtool({"diff", k_data + "good.dmf", model});
    EXPECT_EQ(diff.m_status, 0) << diff.m_out << diff.m_err;
  }
  // Several files make one model; with --update the later line wins: mismatch.dmf
  // sets the micro delay to 120, then 125, and the COMMON section of sections.dmf to 100.
  const std::string both = dir.path("both.ddb");
  EXPECT_EQ(run_dtmtool({"build", "--update", k_data + "good.dmf", k_data + "mismatch.dmf",
                         "--device", "DEVB", k_data + "sections.dmf", "-o", both})
                .m_status,
            0);
  EXPECT_EQ(run_dtmtool({"query", both, "DTM_MICRO", "TCO_DELAY", "DTM_MAP_DEVICE"}).m_out,
            "100\n");
  EXPECT_EQ(run_dtmtool({"query", both, "DTM_RE", "LCELL_FF", "DTM_MAP_DEVICE"}).m_out, "7\n");
  EXPECT_EQ(
      run_dtmtool({"query", both, "DTM_MICRO", "TCO_DELAY", "DTM_MAP_DEVICE", "DTM_MAP_LOGIC_CELL"})
          .m_out,
      "120\n");
}

TEST(DtmtoolCommands, BuildWritesTheTracesItIsAskedFor) {
  const TEST_DIR dir;
  const std::string input =
      dir.write("in.dmf", TEST_DIR::read(KESTREL_SOURCE_DIR "/" + k_data + "good.dmf"));
  EXPECT_EQ(run_dtmtool({"build", input, "-o", dir.path("a.ddb")}).m_status, 0);
  EXPECT_FALSE(std::filesystem::exists(input + ".trf_line"));
  EXPECT_FALSE(std::filesystem::exists(input + ".trf"));
  EXPECT_EQ(run_dtmtool({"build", "--trace-lines", "--trace-tree", input, "-o", dir.path("b.ddb")})
                .m_status,
            0);
  EXPECT_NE(TEST_DIR::read(input + ".trf_line").find("\nDMF CONSOLIDATED\n"), std::string::npos);
  // The tree trace is the outline that dump prints.
  EXPECT_EQ(TEST_DIR::read(input + ".trf"), run_dtmtool({"dump", dir.path("b.ddb")}).m_out);
}

struct DATABASE_CASE {
  const char* m_name;
  std::string m_content;  // null: a directory of that name
  int m_status;
  std::string m_err;
};

TEST(DtmtoolCommands, DatabasesThatCannotBeRead) {
  const TEST_DIR dir;
  const std::string good = dir.path("good.ddb");
  ASSERT_EQ(run_dtmtool({"build", k_data + "good.dmf", "-o", good}).m_status, 0);
  const std::string bytes = TEST_DIR::read(good);
  std::string flipped = bytes;
  flipped[bytes.size() / 2] = static_cast<char>(flipped[bytes.size() / 2] ^ 0x40);
  const std::vector<DATABASE_CASE> cases = {
      {"text.ddb", "120 || DTM_MAP_DEVICE || DTM_MICRO TCO_DELAY\n", 1, "not a .ddb database"},
      {"empty.ddb", "", 1, "not a .ddb database"},
      {"truncated.ddb", bytes.substr(0, bytes.size() / 2), 1, "truncated"},
      {"flipped.ddb", flipped, 1, "dtmtool dump: "},
      {"directory.ddb", std::string(1, '\0'), 2, "cannot be opened"},
      {"missing.ddb", std::string(2, '\0'), 2, "no such file"},
  };
  for (const DATABASE_CASE& c : cases) {
    SCOPED_TRACE(c.m_name);
    const std::string file = dir.path(c.m_name);
    if (c.m_content == std::string(1, '\0')) {
      std::filesystem::create_directory(file);
    } else if (c.m_content != std::string(2, '\0')) {
      dir.write(c.m_name, c.m_content);
    }
    const TOOL_RUN dump = run_dtmtool({"dump", file});
    EXPECT_EQ(dump.m_status, c.m_status);
    EXPECT_EQ(dump.m_out, "");
    EXPECT_NE(dump.m_err.find(c.m_err), std::string::npos) << dump.m_err;
    // For diff every input that cannot be used is 2.
    EXPECT_EQ(run_dtmtool({"diff", good, file}).m_status, 2);
  }
}

TEST(DtmtoolCommands, BuildSaysWhyItCannotWrite) {
  const TEST_DIR dir;
  std::filesystem::create_directory(dir.path("taken.ddb"));
  const std::vector<std::pair<std::string, std::string>> cases = {
      {dir.path("no/such/dir/m.ddb"), "m.ddb: cannot be created\n"},
      {dir.path("taken.ddb"), "taken.ddb: cannot replace the file"},
  };
  for (const auto& [model, err] : cases) {
    SCOPED_TRACE(model);
    const TOOL_RUN run = run_dtmtool({"build", k_data + "good.dmf", "-o", model});
    EXPECT_EQ(run.m_status, 1);
    EXPECT_NE(run.m_err.find(err), std::string::npos) << run.m_err;
  }
}

TEST(DtmtoolCommands, ReportsCarryTheFileTheyComeFrom) {
  const TOOL_RUN run = run_dtmtool(
      {"check", k_data + "good.dmf", k_data + "mismatch.dmf", k_data + "duplicate.dmf"});
  EXPECT_EQ(run.m_status, 1);
  EXPECT_EQ(run.m_out, "3 files checked, 1 report\n");
  // mismatch.dmf holds the delay with 120 and 125; duplicate.dmf repeats 120.
  EXPECT_NE(
      run.m_err.find(k_data + "mismatch.dmf: Duplicate DMF lines contain mismatching delays\n"),
      std::string::npos)
      << run.m_err;
  EXPECT_NE(run.m_err.find(k_data + "duplicate.dmf: Debug Warning: There is a duplicate line"),
            std::string::npos)
      << run.m_err;
}

}  // namespace
