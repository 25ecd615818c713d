// The progress line: drawn on standard error when it is a terminal (a pseudo
// terminal here), never when it is a file or a pipe, and removed at the end.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "dmf_generator.h"
#include "dtmtool_run.h"

namespace {

// Runs dtmtool with standard error on a new pseudo terminal; returns what
// the terminal received, and the exit status.
TOOL_RUN run_on_terminal(const std::vector<std::string>& args,
                         const std::vector<std::string>& env) {
  TOOL_RUN run;
  const int master = posix_openpt(O_RDWR | O_NOCTTY);
  if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0) {
    ADD_FAILURE() << "no pseudo terminal";
    return run;
  }
  const std::string slave = ptsname(master);
  const TEST_DIR scratch;
  const std::string out_file = scratch.path("out");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out_file.c_str(),
                                   O_WRONLY | O_CREAT | O_TRUNC, 0644);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, slave.c_str(), O_RDWR | O_NOCTTY, 0);
  posix_spawn_file_actions_addchdir_np(&actions, KESTREL_SOURCE_DIR);
  std::vector<std::string> words = {DTMTOOL_PATH};
  words.insert(words.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (std::string& word : words) {
    argv.push_back(word.data());
  }
  argv.push_back(nullptr);
  std::vector<std::string> environment;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    environment.emplace_back(*entry);
  }
  environment.insert(environment.end(), env.begin(), env.end());
  std::vector<char*> envp;
  for (std::string& entry : environment) {
    envp.push_back(entry.data());
  }
  envp.push_back(nullptr);
  pid_t pid = 0;
  const int error = posix_spawn(&pid, DTMTOOL_PATH, &actions, nullptr, argv.data(), envp.data());
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) {
    ADD_FAILURE() << "cannot start " << DTMTOOL_PATH;
    close(master);
    return run;
  }
  // Read the terminal until the program has ended and nothing is left.
  int status = 0;
  bool ended = false;
  for (;;) {
    pollfd wait_for{master, POLLIN, 0};
    if (poll(&wait_for, 1, 50) > 0 && (wait_for.revents & POLLIN) != 0) {
      char buffer[4096];
      const ssize_t count = read(master, buffer, sizeof buffer);
      if (count > 0) {
        run.m_err.append(buffer, static_cast<std::size_t>(count));
        continue;
      }
    }
    if (ended) {
      break;
    }
    ended = waitpid(pid, &status, WNOHANG) == pid;
  }
  close(master);
  run.m_status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  run.m_out = TEST_DIR::read(out_file);
  return run;
}

std::string large_file(const TEST_DIR& dir) {
  DMF_GENERATOR generator(7);
  return dir.write("large.dmf", generator.plain(20000));
}

TEST(DtmtoolProgress, ShownOnATerminalAndRemovedAtTheEnd) {
  const TEST_DIR dir;
  const std::string file = large_file(dir);
  const TOOL_RUN run = run_on_terminal({"check", file}, {"DTMTOOL_PROGRESS_DELAY=0"});
  EXPECT_EQ(run.m_status, 0);
  EXPECT_EQ(run.m_out, "1 file checked, 0 reports\n");
  const std::string line = "\rdtmtool: building " + file + ": ";
  EXPECT_NE(run.m_err.find(line), std::string::npos) << run.m_err;
  // Each drawing is one line that ends by clearing the rest of it; the last
  // thing on the terminal removes the line.
  EXPECT_NE(run.m_err.find(" s\033[K"), std::string::npos) << run.m_err;
  ASSERT_GE(run.m_err.size(), 4u);
  EXPECT_EQ(run.m_err.substr(run.m_err.size() - 4), "\r\033[K");
  EXPECT_EQ(run.m_err.find('\n'), std::string::npos) << run.m_err;
}

TEST(DtmtoolProgress, ReportsClearTheLineFirst) {
  const TEST_DIR dir;
  const std::string file =
      dir.write("bad-and-large.dmf", DMF_GENERATOR(8).plain(20000) + "7 || DTM_MAP_DEVICE\n");
  const TOOL_RUN run = run_on_terminal({"check", file}, {"DTMTOOL_PROGRESS_DELAY=0"});
  EXPECT_EQ(run.m_status, 1);
  // The report stands on a line of its own: nothing of the progress line is
  // left in front of it.
  const std::string report = file + ": Bad DMF file: One DMF line does not contains";
  const std::size_t at = run.m_err.find(report);
  ASSERT_NE(at, std::string::npos) << run.m_err;
  ASSERT_GE(at, 4u);
  EXPECT_EQ(run.m_err.substr(at - 4, 4), "\r\033[K");
}

TEST(DtmtoolProgress, NeverShownWhenStandardErrorIsNoTerminal) {
  const TEST_DIR dir;
  const std::string file = large_file(dir);
  const TOOL_RUN run = run_dtmtool({"check", file}, {"DTMTOOL_PROGRESS_DELAY=0"});
  EXPECT_EQ(run.m_status, 0);
  EXPECT_EQ(run.m_err, "");
}

TEST(DtmtoolProgress, NotShownForAQuickBuild) {
  const TOOL_RUN run = run_on_terminal({"check", "tests/data/dtmtool/good.dmf"}, {});
  EXPECT_EQ(run.m_status, 0);
  EXPECT_EQ(run.m_err, "");
}

}  // namespace
