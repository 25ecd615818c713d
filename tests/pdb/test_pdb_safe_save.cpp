// A save either puts the whole new file in place or leaves the previous one
// byte for byte, with no temporary file left beside it, and says so: the
// system calls of the writer are made to fail one by one through the
// platform's table of system calls.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <string>
#include <vector>

#include "fio_sys.h"
#include "pdb_test_support.h"

namespace {

// Which system call a fault hits, and how.
enum class CALL { WRITE, FSYNC, CLOSE, RENAME, CREATE };
enum class HOW {
  FAIL,     // -1 with the fault's errno
  SHORT,    // a write of half the bytes asked for
  NOTHING,  // a write of no byte at all
};

struct FAULT {
  CALL m_call = CALL::WRITE;
  int m_nth = 0;  // 1 = the first call of that kind; 0 = none
  HOW m_how = HOW::FAIL;
  int m_errno = 0;
};

// The fault in force and the calls counted by kind (write and pwrite are
// both writes).
FAULT g_fault;
int g_counts[5] = {};

const FIO_SYSTEM_CALLS& system_calls() { return FIO_FILE_SYSTEM::default_system_calls(); }

// True when this call is the one to fail (errno is then set).
bool hit(CALL call) {
  const int n = ++g_counts[static_cast<int>(call)];
  if (g_fault.m_call != call || g_fault.m_nth != n) {
    return false;
  }
  errno = g_fault.m_errno;
  return true;
}

// A write of `size` bytes by `write(n)`, unless the fault hits it.
template <class WRITE>
ssize_t faulty_write(std::size_t size, WRITE write) {
  if (!hit(CALL::WRITE)) {
    return write(size);
  }
  switch (g_fault.m_how) {
    case HOW::SHORT:
      return write(size / 2);
    case HOW::NOTHING:
      return 0;
    case HOW::FAIL:
      break;
  }
  return -1;
}

constexpr FIO_SYSTEM_CALLS k_faulty_calls = {
    [](int fd, const void* data, std::size_t size) {
      return faulty_write(size, [&](std::size_t n) { return system_calls().m_write(fd, data, n); });
    },
    [](int fd, const void* data, std::size_t size, off_t offset) {
      return faulty_write(
          size, [&](std::size_t n) { return system_calls().m_pwrite(fd, data, n, offset); });
    },
    [](int fd) { return hit(CALL::FSYNC) ? -1 : system_calls().m_fsync(fd); },
    [](int fd) {
      if (hit(CALL::CLOSE)) {
        system_calls().m_close(fd);  // a close that reports an error still releases the fd
        return -1;
      }
      return system_calls().m_close(fd);
    },
    [](const char* from, const char* to) {
      return hit(CALL::RENAME) ? -1 : system_calls().m_rename(from, to);
    },
    [](char* pattern) { return hit(CALL::CREATE) ? -1 : system_calls().m_mkstemp(pattern); },
};

// Puts the counting, faulty table in force for its lifetime.
class FAULTY_CALLS {
 public:
  explicit FAULTY_CALLS(const FAULT& fault) : m_override(k_faulty_calls) {
    g_fault = fault;
    std::fill(std::begin(g_counts), std::end(g_counts), 0);
  }
  static int count(CALL call) { return g_counts[static_cast<int>(call)]; }

 private:
  FIO_SYSTEM_CALLS_OVERRIDE m_override;
};

// How one save ended: written, refused at creation (false), or raised.
struct SAVE_RESULT {
  bool m_written = false;
  bool m_raised = false;
  std::string m_message;
};

SAVE_RESULT save_as(const std::string& stem, const T_NODE* root) {
  SAVE_RESULT result;
  PDB_ARCHIVE archive;
  archive.open(stem);
  try {
    result.m_written = pdb_write_(root, archive, "");
  } catch (const PDB_DATABASE_EXCEPTION& error) {
    result.m_raised = true;
    result.m_message = error.what();
  }
  return result;
}

// The names of the entries of a directory.
std::vector<std::string> entries(const std::string& directory) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    names.push_back(entry.path().filename().string());
  }
  return names;
}

// A second model, different from sample_model() in every object's content.
T_NODE* other_model() {
  T_NODE* root = sample_model();
  root->m_description = "the new model";
  root->add(new T_NODE(T_KIND_B))->m_description = std::string(1000, 'n').c_str();
  return root;
}

// The fixture: <dir>/db/model.ddb holds the previous model; `m_reference`
// is what a good save of the new model writes.
class SAFE_SAVE : public ::testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directory(m_dir.path("db"));
    m_stem = m_dir.path("db/model");
    m_target = m_stem + ".ddb";
    m_old = sample_model();
    m_new = other_model();
    ASSERT_TRUE(save_as(m_stem, m_old).m_written);
    m_before = TEST_DIR::read(m_target);
    ASSERT_TRUE(save_as(m_dir.path("reference"), m_new).m_written);
    m_reference = TEST_DIR::read(m_dir.path("reference.ddb"));
    ASSERT_NE(m_before, m_reference);
  }
  void TearDown() override {
    delete m_old;
    delete m_new;
  }

  // The previous file is untouched and alone in its directory.
  void expect_previous_file_kept() const {
    EXPECT_EQ(TEST_DIR::read(m_target), m_before);
    EXPECT_EQ(entries(m_dir.path("db")), std::vector<std::string>{"model.ddb"})
        << "no temporary file is left behind";
  }
  void expect_new_file_in_place() const {
    EXPECT_EQ(TEST_DIR::read(m_target), m_reference);
    EXPECT_EQ(entries(m_dir.path("db")), std::vector<std::string>{"model.ddb"});
    T_NODE* loaded = load(m_dir, "db/model");
    ASSERT_NE(loaded, nullptr);
    EXPECT_EQ(loaded->m_description, "the new model");
    delete loaded;
  }

  TEST_DIR m_dir;
  std::string m_stem;
  std::string m_target;
  std::string m_before;
  std::string m_reference;
  T_NODE* m_old = nullptr;
  T_NODE* m_new = nullptr;
};

TEST_F(SAFE_SAVE, NoSpaceAtAnyWriteKeepsThePreviousFile) {
  const COUNTERS counters;
  int writes = 0;
  {
    FAULTY_CALLS counting(FAULT{});
    ASSERT_TRUE(save_as(m_dir.path("counted"), m_new).m_written);
    writes = FAULTY_CALLS::count(CALL::WRITE);
  }
  ASSERT_GE(writes, 2) << "the objects and tables, then the header";
  for (int n = 1; n <= writes; ++n) {
    SCOPED_TRACE("no space at write " + std::to_string(n));
    FAULTY_CALLS no_space(FAULT{CALL::WRITE, n, HOW::FAIL, ENOSPC});
    const SAVE_RESULT result = save_as(m_stem, m_new);
    EXPECT_TRUE(result.m_raised);
    EXPECT_EQ(result.m_message.rfind(m_target, 0), 0U) << result.m_message;
    EXPECT_NE(result.m_message.find(std::string("cannot write: ") + std::strerror(ENOSPC)),
              std::string::npos)
        << result.m_message;
    EXPECT_EQ(FAULTY_CALLS::count(CALL::RENAME), 0);
    expect_previous_file_kept();
  }
  // Every identity was released: the same objects save again.
  EXPECT_TRUE(save_as(m_stem, m_new).m_written);
  expect_new_file_in_place();
  EXPECT_TRUE(counters.same());
}

struct FAULT_CASE {
  const char* m_name;
  FAULT m_fault;
  bool m_saved;           // the save still succeeds
  const char* m_message;  // what the exception says; null: open() answers false
  int m_reported;         // the error whose text follows the message
};

const FAULT_CASE k_fault_cases[] = {
    {"a write error", {CALL::WRITE, 1, HOW::FAIL, EIO}, false, "cannot write: ", EIO},
    {"a write of the header fails",
     {CALL::WRITE, -1, HOW::FAIL, ENOSPC},
     false,
     "cannot write: ",
     ENOSPC},
    {"a write makes no progress", {CALL::WRITE, 1, HOW::NOTHING, 0}, false, "cannot write: ", EIO},
    {"a file too large", {CALL::WRITE, 1, HOW::FAIL, EFBIG}, false, "cannot write: ", EFBIG},
    {"the flush to disk fails",
     {CALL::FSYNC, 1, HOW::FAIL, EIO},
     false,
     "cannot flush to disk: ",
     EIO},
    {"the close fails", {CALL::CLOSE, 1, HOW::FAIL, EDQUOT}, false, "cannot write: ", EDQUOT},
    {"the rename fails",
     {CALL::RENAME, 1, HOW::FAIL, EXDEV},
     false,
     "cannot replace the file: ",
     EXDEV},
    {"the directory is not writable", {CALL::CREATE, 1, HOW::FAIL, EACCES}, false, nullptr, 0},
    {"a short write is completed", {CALL::WRITE, 1, HOW::SHORT, 0}, true, "", 0},
    {"a short header write is completed", {CALL::WRITE, -1, HOW::SHORT, 0}, true, "", 0},
    {"an interrupted write is retried", {CALL::WRITE, 1, HOW::FAIL, EINTR}, true, "", 0},
};

TEST_F(SAFE_SAVE, EachFailingCallKeepsThePreviousFileAndIsReported) {
  const COUNTERS counters;
  int writes = 0;
  {
    FAULTY_CALLS counting(FAULT{});
    ASSERT_TRUE(save_as(m_dir.path("counted"), m_new).m_written);
    writes = FAULTY_CALLS::count(CALL::WRITE);
  }
  for (const FAULT_CASE& c : k_fault_cases) {
    SCOPED_TRACE(c.m_name);
    // Restore the previous file (a case that saves replaces it).
    ASSERT_TRUE(save_as(m_stem, m_old).m_written);
    FAULT fault = c.m_fault;
    if (fault.m_nth < 0) {
      fault.m_nth = writes + 1 + fault.m_nth;  // counted from the last write
    }
    SAVE_RESULT result;
    {
      FAULTY_CALLS faulty(fault);
      result = save_as(m_stem, m_new);
      EXPECT_GE(FAULTY_CALLS::count(fault.m_call), fault.m_nth) << "the fault was not reached";
    }
    if (c.m_saved) {
      EXPECT_TRUE(result.m_written) << result.m_message;
      expect_new_file_in_place();
      continue;
    }
    EXPECT_FALSE(result.m_written);
    if (c.m_message == nullptr) {
      EXPECT_FALSE(result.m_raised) << result.m_message;
    } else {
      EXPECT_TRUE(result.m_raised);
      EXPECT_EQ(result.m_message.rfind(m_target, 0), 0U) << result.m_message;
      EXPECT_NE(result.m_message.find(c.m_message + std::string(std::strerror(c.m_reported))),
                std::string::npos)
          << result.m_message;
    }
    expect_previous_file_kept();
  }
  EXPECT_TRUE(counters.same());
}

TEST_F(SAFE_SAVE, UnwritableDirectoryKeepsThePreviousFile) {
  if (::geteuid() == 0) {
    GTEST_SKIP() << "permissions do not bind root; the injected EACCES case covers it";
  }
  const std::string directory = m_dir.path("db");
  ASSERT_EQ(::chmod(directory.c_str(), 0555), 0);
  const SAVE_RESULT result = save_as(m_stem, m_new);
  ::chmod(directory.c_str(), 0755);
  EXPECT_FALSE(result.m_written);
  EXPECT_FALSE(result.m_raised) << result.m_message;
  expect_previous_file_kept();
}

TEST(FioSystemCalls, AnOverrideHoldsForItsLifetimeOnly) {
  const FIO_SYSTEM_CALLS* system = &FIO_FILE_SYSTEM::default_system_calls();
  EXPECT_EQ(&FIO_FILE_SYSTEM::system_calls(), system);
  FIO_SYSTEM_CALLS failing = *system;
  failing.m_fsync = [](int) {
    errno = EIO;
    return -1;
  };
  {
    FIO_SYSTEM_CALLS_OVERRIDE outer(failing);
    EXPECT_EQ(&FIO_FILE_SYSTEM::system_calls(), &failing);
    {
      FIO_SYSTEM_CALLS_OVERRIDE inner(*system);
      EXPECT_EQ(&FIO_FILE_SYSTEM::system_calls(), system);
    }
    EXPECT_EQ(FIO_FILE_SYSTEM::system_calls().m_fsync(-1), -1);
  }
  EXPECT_EQ(&FIO_FILE_SYSTEM::system_calls(), system);
  FIO_FILE_SYSTEM::set_system_calls(&failing);
  FIO_FILE_SYSTEM::set_system_calls(nullptr);
  EXPECT_EQ(&FIO_FILE_SYSTEM::system_calls(), system);
}

}  // namespace
