// Runs the built dtmtool as a process (DTMTOOL_PATH) and collects its exit
// status, standard output and standard error; compares texts with the golden
// files of tests/data/golden/dtmtool (rewritten instead when
// KESTREL_BLESS_GOLDEN=1, see scripts/bless-dtmtool-golden.sh).
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "test_files.h"

extern char** environ;

struct TOOL_RUN {
  int m_status = -1;  // exit status; 128 + signal when killed
  std::string m_out;
  std::string m_err;
};

// `args` follow the program name. The tool runs in `directory` (the source
// tree by default, so that the paths it prints are short and stable), with
// the environment of the test plus `env` ("NAME=value").
inline TOOL_RUN run_dtmtool(const std::vector<std::string>& args,
                            const std::vector<std::string>& env = {},
                            const std::string& directory = KESTREL_SOURCE_DIR) {
  const TEST_DIR scratch;
  const std::string out_file = scratch.path("out");
  const std::string err_file = scratch.path("err");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out_file.c_str(),
                                   O_WRONLY | O_CREAT | O_TRUNC, 0644);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, err_file.c_str(),
                                   O_WRONLY | O_CREAT | O_TRUNC, 0644);
  posix_spawn_file_actions_addchdir_np(&actions, directory.c_str());

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

  TOOL_RUN run;
  pid_t pid = 0;
  const int error = posix_spawn(&pid, DTMTOOL_PATH, &actions, nullptr, argv.data(), envp.data());
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) {
    ADD_FAILURE() << "cannot start " << DTMTOOL_PATH;
    return run;
  }
  int status = 0;
  while (waitpid(pid, &status, 0) < 0) {
  }
  run.m_status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  run.m_out = TEST_DIR::read(out_file);
  run.m_err = TEST_DIR::read(err_file);
  return run;
}

inline bool blessing_golden() {
  const char* value = std::getenv("KESTREL_BLESS_GOLDEN");
  return value != nullptr && std::string(value) == "1";
}

// Compares `text` with the golden file `name` (below tests/data/golden/dtmtool),
// or writes it there when blessing.
inline void expect_golden(const std::string& name, const std::string& text) {
  const std::filesystem::path file =
      std::filesystem::path(KESTREL_SOURCE_DIR) / "tests/data/golden/dtmtool" / name;
  if (blessing_golden()) {
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary | std::ios::trunc) << text;
    return;
  }
  ASSERT_TRUE(std::filesystem::exists(file)) << file << " is missing: bless the golden files";
  EXPECT_EQ(text, TEST_DIR::read(file.string())) << "golden file " << file;
}
