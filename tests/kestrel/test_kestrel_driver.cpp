// The built kestrel program run as a process: its arguments, its messages
// byte for byte on standard output, nothing on standard error from the driver
// itself, its exit status, and what it does with good and damaged databases.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "dtm_gen.h"
#include "dtm_node.h"
#include "mem_alloc_sys.h"
#include "pdb_sys.h"
#include "test_files.h"

namespace {

struct RUN {
  int m_status = -1;  // exit status; -1 when the program did not exit normally
  std::string m_out;
  std::string m_err;
};

// Runs kestrel with `args` in `dir`'s directory, its output into files.
RUN run_kestrel(const TEST_DIR& dir, const std::vector<std::string>& args) {
  const std::string out = dir.path("kestrel.out");
  const std::string err = dir.path("kestrel.err");
  std::vector<std::string> words = {KESTREL_EXE};
  words.insert(words.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (std::string& word : words) {
    argv.push_back(word.data());
  }
  argv.push_back(nullptr);
  std::fflush(nullptr);
  const pid_t pid = ::fork();
  if (pid == 0) {
    const int out_fd = ::open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int err_fd = ::open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (out_fd < 0 || err_fd < 0 || ::dup2(out_fd, 1) < 0 || ::dup2(err_fd, 2) < 0) {
      ::_exit(127);
    }
    ::execv(argv[0], argv.data());
    ::_exit(127);
  }
  RUN run;
  int status = 0;
  if (pid > 0 && ::waitpid(pid, &status, 0) == pid && WIFEXITED(status)) {
    run.m_status = WEXITSTATUS(status);
  }
  run.m_out = TEST_DIR::read(out);
  run.m_err = TEST_DIR::read(err);
  return run;
}

// A model with the two nodes the driver prints, and some delays, saved as
// <dir>/<stem>.ddb.
void save_good_model(const TEST_DIR& dir, const std::string& stem) {
  DTM_NODE* root = MEM_MANAGER::new_wrapper<DTM_NODE>(DTM_ROOT, true);
  DTM_NODE* device = MEM_MANAGER::new_wrapper<DTM_NODE>(DTM_MAP_DEVICE, true);
  device->set_description("Fast speed grade");
  root->add_node(device);
  root->add_micro_node_delay(120, TCO_DELAY, DTM_MAP_DEVICE);
  root->add_table_node_delay(17, ROW_1, COL_0, DTM_MAP_DEVICE, DTM_MAP_LOGIC_CELL);
  root->add_p2p_node_delay(5, static_cast<DB_INPUT_PORT_TYPE>(1),
                           static_cast<DB_OUTPUT_PORT_TYPE>(2), DTM_NONE, DTM_MAP_DEVICE,
                           DTM_MAP_LOGIC_CELL);
  device->get_sub_node(DTM_MICRO)->set_description("Micro timing of the device");
  PDB_ARCHIVE archive;
  ASSERT_TRUE(archive.open(dir.path(stem)));
  ASSERT_TRUE(pdb_write_(root, archive, ""));
  MEM_MANAGER::delete_wrapper(root);
}

const std::string k_usage = "The useage of kestrel.exe is:\nkestrel <file1>\n";
const std::string k_good_output = "Fast speed grade\nMicro timing of the device\n";

struct DRIVER_CASE {
  const char* m_name;
  std::vector<std::string> m_args;  // "@" + name: a path in the scratch directory
  int m_status;
  std::string m_out;  // "@" inside: the first argument as given
};

TEST(KestrelDriver, ArgumentsMessagesAndExitStatus) {
  TEST_DIR dir;
  save_good_model(dir, "model");
  save_good_model(dir, "b.txt");  // what "b.ddb.txt" names without its ".ddb"
  dir.write("b.ddb.txt", "not read: only its existence counts");
  dir.write("a.ddb.txt", "no a.txt.ddb beside it");
  dir.write("plain", "a file without the extension");
  dir.write("model.DDB", "the extension is searched with its case");
  std::filesystem::create_directory(dir.path("folder.ddb"));
  {
    PDB_ARCHIVE archive;
    ASSERT_TRUE(archive.open(dir.path("empty")));
    ASSERT_TRUE(pdb_write_(static_cast<const DTM_NODE*>(nullptr), archive, ""));
  }
  {
    // Readable models that lack the nodes the driver prints.
    DTM_NODE* bare = MEM_MANAGER::new_wrapper<DTM_NODE>(DTM_ROOT, true);
    PDB_ARCHIVE archive;
    ASSERT_TRUE(archive.open(dir.path("bare")));
    ASSERT_TRUE(pdb_write_(bare, archive, ""));
    bare->add_node(MEM_MANAGER::new_wrapper<DTM_NODE>(DTM_MAP_DEVICE, true));
    PDB_ARCHIVE device_only;
    ASSERT_TRUE(device_only.open(dir.path("nomicro")));
    ASSERT_TRUE(pdb_write_(bare, device_only, ""));
    MEM_MANAGER::delete_wrapper(bare);
  }
  const std::vector<DRIVER_CASE> cases = {
      {"no argument", {}, 1, k_usage},
      {"a root without the device node", {"@bare.ddb"}, 1, "Error in ddb file!"},
      {"a device node without its micro node", {"@nomicro.ddb"}, 1, "Error in ddb file!"},
      {"two arguments", {"@model.ddb", "@model.ddb"}, 1, k_usage},
      {"three arguments", {"x", "y", "z"}, 1, k_usage},
      {"a missing file", {"@missing.ddb"}, 1, "The DMF file @ does not exist.\n"},
      {"an empty name", {""}, 1, "The DMF file  does not exist.\n"},
      {"a name without .ddb", {"@plain"}, 1, "The DMF @ is not a .ddb file.\n"},
      {"an upper-case extension", {"@model.DDB"}, 1, "The DMF @ is not a .ddb file.\n"},
      {".ddb in the middle, nothing behind the name without it",
       {"@a.ddb.txt"},
       1,
       "Error in ddb file!"},
      {".ddb in the middle, the database behind the name without it",
       {"@b.ddb.txt"},
       0,
       k_good_output},
      {"a database whose root is null", {"@empty.ddb"}, 1, "Error in ddb file!"},
      {"a good database", {"@model.ddb"}, 0, k_good_output},
      {"a directory named .ddb", {"@folder.ddb"}, 1, "Error in ddb file!"},
      {"the scratch directory itself", {"@"}, 1, "The DMF @ is not a .ddb file.\n"},
  };
  for (const DRIVER_CASE& c : cases) {
    SCOPED_TRACE(c.m_name);
    std::vector<std::string> args;
    for (const std::string& arg : c.m_args) {
      args.push_back(!arg.empty() && arg[0] == '@' ? dir.path(arg.substr(1)) : arg);
    }
    std::string expected = c.m_out;
    if (const auto at = expected.find('@'); at != std::string::npos) {
      expected.replace(at, 1, args[0]);
    }
    const RUN run = run_kestrel(dir, args);
    EXPECT_EQ(run.m_status, c.m_status);
    EXPECT_EQ(run.m_out, expected);
    EXPECT_EQ(run.m_err, "");
  }
}

// The main job: the example family's KX40 model built from its DMF file, saved
// as tools/ddb_example does it, and kestrel on it.
TEST(KestrelDriver, ExampleModelBuiltFromItsDmfFile) {
  TEST_DIR dir;
  const std::string device = "KX40";
  DTM_NODE* model =
      DTM_FACTORY().build_nodes(KESTREL_EXAMPLES_DIR "/family.dmf", &device, false, false);
  ASSERT_NE(model, nullptr);
  PDB_ARCHIVE archive;
  ASSERT_TRUE(archive.open(dir.path("example")));
  ASSERT_TRUE(pdb_write_(model, archive, ""));
  MEM_MANAGER::delete_wrapper(model);
  const RUN run = run_kestrel(dir, {dir.path("example.ddb")});
  EXPECT_EQ(run.m_status, 0);
  EXPECT_EQ(run.m_out, "KX family timing model\nLogic element micro timing\n");
  EXPECT_EQ(run.m_err, "");
}

// A damaged database ends in status 1: the layer's exception reaches the
// program wrapper, which reports it (on standard error, by default) naming
// the file and the damage. Nothing goes to standard output.
TEST(KestrelDriver, DamagedDatabasesEndInStatusOne) {
  TEST_DIR dir;
  save_good_model(dir, "model");
  const std::string good = TEST_DIR::read(dir.path("model.ddb"));
  ASSERT_GT(good.size(), 300u);
  std::vector<std::pair<std::string, std::string>> damaged = {
      {"empty", ""},
      {"text", "Fast speed grade\n"},
      {"header only", good.substr(0, PDB_HEADER_SIZE)},
  };
  for (std::size_t length = 7; length < good.size(); length += good.size() / 9) {
    damaged.emplace_back("truncated to " + std::to_string(length), good.substr(0, length));
  }
  for (std::size_t at = 3; at < good.size(); at += good.size() / 7) {
    std::string flipped = good;
    flipped[at] = static_cast<char>(flipped[at] ^ 0x10);
    damaged.emplace_back("bit flipped at " + std::to_string(at), flipped);
  }
  for (const auto& [name, image] : damaged) {
    SCOPED_TRACE(name);
    const std::string file = dir.write("bad.ddb", image);
    const RUN run = run_kestrel(dir, {file});
    EXPECT_EQ(run.m_status, 1);
    EXPECT_EQ(run.m_out, "");
    EXPECT_NE(run.m_err.find("uncaught exception: " + file + ": "), std::string::npos) << run.m_err;
  }
}

}  // namespace
