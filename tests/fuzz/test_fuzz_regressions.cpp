// Replays every kept fuzz input through the entry point of its target: the
// regression inputs of fuzz/regressions/<target>/ (the inputs a fuzz run found
// faulty, and named hostile inputs at the edges of the format) and the seed
// corpus of fuzz/corpus/<target>/. Under the asan preset this is the proof
// that every finding stays fixed.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz_entries.h"
#include "mem_alloc_sys.h"
#include "msg_sys.h"

namespace {

namespace fs = std::filesystem;

const fs::path k_fuzz_dir = fs::path(KESTREL_SOURCE_DIR) / "fuzz";

std::vector<fs::path> files_in(const fs::path& dir) {
  std::vector<fs::path> files;
  if (fs::is_directory(dir)) {
    for (const fs::directory_entry& entry : fs::directory_iterator(dir)) {
      if (entry.is_regular_file()) {
        files.push_back(entry.path());
      }
    }
  }
  std::sort(files.begin(), files.end());
  return files;
}

std::vector<std::uint8_t> read_bytes(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Runs each file through the target and checks that the library frees
// everything it allocated for it.
void replay(const std::string& target, const std::vector<fs::path>& files) {
  const kestrel_fuzz::ENTRY entry = kestrel_fuzz::find_entry(target);
  ASSERT_NE(entry, nullptr) << target;
  for (const fs::path& file : files) {
    SCOPED_TRACE(file.string());
    const std::vector<std::uint8_t> bytes = read_bytes(file);
    const std::size_t live = MEM_MANAGER::get_counters().m_live_objects;
    entry(bytes.data(), bytes.size());
    EXPECT_EQ(MEM_MANAGER::get_counters().m_live_objects, live);
  }
}

class FUZZ_TARGET : public testing::TestWithParam<std::string> {};

TEST_P(FUZZ_TARGET, ReplaysEveryRegressionInput) {
  const std::vector<fs::path> files = files_in(k_fuzz_dir / "regressions" / GetParam());
  ASSERT_FALSE(files.empty()) << "no regression input for " << GetParam();
  replay(GetParam(), files);
}

TEST_P(FUZZ_TARGET, ReplaysTheSeedCorpus) {
  const std::vector<fs::path> files = files_in(k_fuzz_dir / "corpus" / GetParam());
  ASSERT_FALSE(files.empty()) << "no seed for " << GetParam();
  replay(GetParam(), files);
}

TEST_P(FUZZ_TARGET, EntryReportsNothingOutside) {
  // The entries swallow the library's reports: a fuzz run makes millions.
  MSG_CAPTURE capture;
  const std::string input = "bad line\n\"unterminated\n";
  kestrel_fuzz::find_entry(GetParam())(reinterpret_cast<const std::uint8_t*>(input.data()),
                                       input.size());
  EXPECT_EQ(capture.get_count(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Targets, FUZZ_TARGET, testing::ValuesIn(kestrel_fuzz::target_names()),
                         [](const testing::TestParamInfo<std::string>& info) {
                           return info.param;
                         });

TEST(FuzzEntries, UnknownTargetHasNoEntry) {
  EXPECT_EQ(kestrel_fuzz::find_entry("no_such_target"), nullptr);
  EXPECT_NE(kestrel_fuzz::find_entry("dmf_line"), nullptr);
}

}  // namespace
