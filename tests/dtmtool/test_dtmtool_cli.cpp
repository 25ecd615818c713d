// The command line itself: usage errors and their exit status, the help
// texts (golden files), --version.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "dtmtool_run.h"

namespace {

const std::string k_good = "tests/data/dtmtool/good.dmf";

struct USAGE_CASE {
  std::vector<std::string> m_args;
  int m_status;
  std::string m_err;  // a part of standard error
};

TEST(DtmtoolCli, WrongUsageExitsWithTwoAndSaysWhy) {
  const std::vector<USAGE_CASE> cases = {
      {{}, 2, "Usage: dtmtool COMMAND [ARGUMENTS]\nTry 'dtmtool --help'.\n"},
      {{"frobnicate"}, 2, "dtmtool: unknown command 'frobnicate'\nTry 'dtmtool --help'.\n"},
      {{"--frob"}, 2, "dtmtool: unknown option '--frob'\n"},
      {{"help", "nope"}, 2, "dtmtool help: unknown command 'nope'\n"},
      {{"help", "build", "check"}, 2, "dtmtool help: unexpected argument 'check'\n"},
      {{"build", k_good}, 2, "dtmtool build: missing -o FILE\nTry 'dtmtool build --help'.\n"},
      {{"build", "-o", "m.ddb"}, 2, "dtmtool build: missing arguments\n"},
      {{"build", k_good, "-o"}, 2, "dtmtool build: option '-o' needs a value (FILE)\n"},
      {{"build", k_good, "-o", "m.txt"},
       2,
       "dtmtool build: m.txt: the model's name must end with .ddb\n"},
      {{"build", "m.ddb", "-o", "n.ddb"},
       2,
       "dtmtool build: m.ddb: a database; this command reads DMF files\n"},
      {{"check", "--bogus", k_good},
       2,
       "dtmtool check: unknown option '--bogus'\nTry 'dtmtool check --help'.\n"},
      {{"check", "--update=yes", k_good}, 2, "dtmtool check: option '--update' takes no value\n"},
      {{"check", "--trace-lines", k_good}, 2, "dtmtool check: unknown option '--trace-lines'\n"},
      {{"check", "no/such/file.dmf"}, 2, "dtmtool check: no/such/file.dmf: no such file\n"},
      {{"check", "--device=", k_good},
       2,
       "dtmtool check: invalid value '' for option '--device'\n"},
      {{"check", "--", "-dash.dmf"}, 2, "dtmtool check: -dash.dmf: no such file\n"},
      {{"check", "tests/data/dtmtool/sections.dmf"},
       2,
       "dtmtool check: tests/data/dtmtool/sections.dmf: an amalgamated file: choose a device with "
       "--device (devices: DEVA DEVB)\n"},
      {{"devices"}, 2, "dtmtool devices: missing arguments\n"},
      {{"devices", "a.dmf", "b.dmf"}, 2, "dtmtool devices: unexpected argument 'b.dmf'\n"},
      {{"devices", "no/such/file.dmf"}, 2, "dtmtool devices: no/such/file.dmf: no such file\n"},
      {{"dump", k_good, "--outline", "--paths"},
       2,
       "dtmtool dump: --outline and --paths exclude each other\n"},
      {{"dump", "no/such/file.dmf"}, 2, "dtmtool dump: no/such/file.dmf: no such file\n"},
      {{"query", k_good}, 2, "dtmtool query: missing arguments\n"},
      {{"diff", k_good}, 2, "dtmtool diff: missing arguments\n"},
      {{"diff", k_good, k_good, "--values", "--missing"},
       2,
       "dtmtool diff: --values and --missing exclude each other\n"},
      {{"diff", k_good, k_good, "--tolerance", "x"},
       2,
       "dtmtool diff: invalid value 'x' for option '--tolerance'\n"},
      {{"diff", k_good, k_good, "--tolerance=-1"},
       2,
       "dtmtool diff: invalid value '-1' for option '--tolerance'\n"},
      {{"diff", k_good, k_good, "--tolerance", "nan"},
       2,
       "dtmtool diff: invalid value 'nan' for option '--tolerance'\n"},
      {{"diff", k_good, "no/such/file.dmf"}, 2, "dtmtool diff: no/such/file.dmf: no such file\n"},
      {{"export", k_good}, 2, "dtmtool export: missing -o FILE\n"},
      {{"export", k_good, "-o", "no/such/dir/x.dmf"},
       2,
       "dtmtool export: no/such/dir/x.dmf: cannot be written\n"},
  };
  for (const USAGE_CASE& c : cases) {
    std::string command;
    for (const std::string& arg : c.m_args) {
      command += ' ' + arg;
    }
    SCOPED_TRACE("dtmtool" + command);
    const TOOL_RUN run = run_dtmtool(c.m_args);
    EXPECT_EQ(run.m_status, c.m_status);
    EXPECT_NE(run.m_err.find(c.m_err), std::string::npos) << run.m_err;
    EXPECT_EQ(run.m_out, "");
  }
}

TEST(DtmtoolCli, HelpTexts) {
  const std::vector<std::string> commands = {"build", "check", "devices", "dump",
                                             "query", "diff",  "export",  "help"};
  const TOOL_RUN overview = run_dtmtool({"--help"});
  EXPECT_EQ(overview.m_status, 0);
  EXPECT_EQ(overview.m_err, "");
  expect_golden("help/overview.txt", overview.m_out);
  EXPECT_EQ(run_dtmtool({"-h"}).m_out, overview.m_out);
  EXPECT_EQ(run_dtmtool({"help"}).m_out, overview.m_out);
  for (const std::string& command : commands) {
    SCOPED_TRACE(command);
    const TOOL_RUN run = run_dtmtool({command, "--help"});
    EXPECT_EQ(run.m_status, 0);
    EXPECT_EQ(run.m_err, "");
    expect_golden("help/" + command + ".txt", run.m_out);
    // Every form asks for the same text, and help wins over everything else.
    EXPECT_EQ(run_dtmtool({command, "-h"}).m_out, run.m_out);
    EXPECT_EQ(run_dtmtool({"help", command}).m_out, run.m_out);
    EXPECT_EQ(run_dtmtool({command, "no/such/file", "--help", "--bogus"}).m_out, run.m_out);
    // Each command's summary is in the overview, and no help line is wider
    // than a terminal.
    EXPECT_NE(overview.m_out.find("  " + command + " "), std::string::npos);
    std::size_t start = 0;
    for (std::size_t end = run.m_out.find('\n'); end != std::string::npos;
         start = end + 1, end = run.m_out.find('\n', start)) {
      EXPECT_LE(end - start, 80u) << run.m_out.substr(start, end - start);
    }
  }
}

TEST(DtmtoolCli, Version) {
  const TOOL_RUN run = run_dtmtool({"--version"});
  EXPECT_EQ(run.m_status, 0);
  EXPECT_EQ(run.m_out.rfind("dtmtool ", 0), 0u);
  EXPECT_EQ(run.m_out.back(), '\n');
  EXPECT_GT(run.m_out.size(), std::string("dtmtool \n").size());
  EXPECT_EQ(run.m_err, "");
}

}  // namespace
