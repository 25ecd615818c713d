#include <gtest/gtest.h>

#include "fio_sys.h"
#include "test_files.h"

namespace {

TEST(FioFileSystem, ExistsSeesFilesAndDirectoriesOnly) {
  TEST_DIR dir;
  const std::string file = dir.write("model.ddb", "x");
  EXPECT_TRUE(FIO_FILE_SYSTEM::exists(file));
  EXPECT_TRUE(FIO_FILE_SYSTEM::exists(file.c_str()));
  EXPECT_TRUE(FIO_FILE_SYSTEM::exists(dir.path("")));
  EXPECT_FALSE(FIO_FILE_SYSTEM::exists(dir.path("missing.ddb")));
  EXPECT_FALSE(FIO_FILE_SYSTEM::exists(std::string()));
  EXPECT_FALSE(FIO_FILE_SYSTEM::exists(static_cast<const char*>(nullptr)));
}

}  // namespace
