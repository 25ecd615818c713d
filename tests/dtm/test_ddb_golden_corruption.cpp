// Exhaustive damage of the three golden databases of tests/data/ddb (a
// minimal model, one with every class of the format, a clone saved with its
// master): every truncation, every byte set to 0x00 and to 0xFF, every
// single-bit flip; each as it is (the checksums refuse it) and resealed (the
// checksums recomputed, so that the parser and the model's checks meet the
// damage). Every case is refused with PDB_DATABASE_EXCEPTION, or gives roots
// that can be dumped, asked, extended, saved and freed; memory always comes
// back. The goldens are built by the code below: KESTREL_BLESS_DDB=1
// rewrites them (scripts/bless-golden.sh ddb), and the fuzz seeds with them.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "dtm_corruption_support.h"

using namespace dtm_corruption_test;

namespace {

bool blessing() {
  const char* value = std::getenv("KESTREL_BLESS_DDB");
  return value != nullptr && std::string(value) == "1";
}

void write_file(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << bytes;
  ASSERT_TRUE(out.good()) << path;
}

// The image the current code writes for a set of roots.
std::string image_of(const IMAGE_DIR& dir, ROOTS (*build)(), const char* name) {
  ROOTS roots = build();
  EXPECT_TRUE(write_roots(dir.stem(name), roots));
  roots.destroy();
  return TEST_DIR::read(dir.stem(name) + ".ddb");
}

// The fuzz seeds of the .ddb targets: the goldens, and the models of the
// examples and of DMF test files.
struct SEED {
  const char* m_name;
  const char* m_dmf;  // built with the plain reader
};
const SEED k_seeds[] = {
    {"example_plain", KESTREL_EXAMPLES_DIR "/plain.dmf"},
    {"every_type", KESTREL_SOURCE_DIR "/tests/data/dmf/every_type.dmf"},
    {"duplicates", KESTREL_SOURCE_DIR "/tests/data/dmf/duplicates.dmf"},
    {"missing_device", KESTREL_SOURCE_DIR "/tests/data/dmf/missing_device.dmf"},
};
const char* const k_seed_targets[] = {"ddb_load", "ddb_load_save"};

TEST(GoldenDdb, FilesAreWhatTheProgramWrites) {
  IMAGE_DIR dir;
  MSG_CAPTURE capture;  // the test DMF files report what is wrong in them
  for (const GOLDEN& golden : goldens()) {
    SCOPED_TRACE(golden.m_name);
    const std::string image = image_of(dir, golden.m_build, golden.m_name);
    ASSERT_GT(image.size(), PDB_HEADER_SIZE);
    EXPECT_LT(image.size(), 8000u) << "goldens stay small: every damage of them is tried";
    if (blessing()) {
      write_file(golden_path(golden), image);
    }
    EXPECT_EQ(TEST_DIR::read(golden_path(golden)), image)
        << "run scripts/bless-golden.sh ddb after a deliberate change";
    for (const char* target : k_seed_targets) {
      const std::string seed =
          std::string(KESTREL_SOURCE_DIR "/fuzz/corpus/") + target + "/" + golden.m_name + ".ddb";
      if (blessing()) {
        write_file(seed, image);
      }
      EXPECT_EQ(TEST_DIR::read(seed), image) << seed;
    }
  }
  for (const SEED& s : k_seeds) {
    SCOPED_TRACE(s.m_name);
    DTM_NODE* model = DTM_FACTORY().build_nodes(s.m_dmf, false, false);
    ASSERT_NE(model, nullptr);
    save_model_to(dir, s.m_name, model);
    MEM_MANAGER::delete_wrapper(model);
    const std::string image = TEST_DIR::read(dir.stem(s.m_name) + ".ddb");
    EXPECT_LT(image.size(), 8000u);
    for (const char* target : k_seed_targets) {
      const std::string seed =
          std::string(KESTREL_SOURCE_DIR "/fuzz/corpus/") + target + "/" + s.m_name + ".ddb";
      if (blessing()) {
        write_file(seed, image);
      }
      EXPECT_EQ(TEST_DIR::read(seed), image) << seed;
    }
  }
}

// The class table of the every-class golden names all 26 classes, each with
// its signature.
TEST(GoldenDdb, EveryClassIsInTheEveryClassFile) {
  const std::string image = TEST_DIR::read(golden_path(goldens()[1]));
  std::size_t found = 0;
  for (std::uint32_t index = 0; const PDB_CLASS_INFO* info = PDB_CLASS_INFO::find_index(index);
       ++index) {
    if (&info->get_segment_info() != &pdb_ddb_segment_info()) {
      continue;
    }
    const std::string name = info->get_name();
    const std::uint32_t length = static_cast<std::uint32_t>(name.size());
    const std::uint32_t signature = info->get_signature();
    std::string needle(reinterpret_cast<const char*>(&length), 4);
    needle += name;
    needle.append(reinterpret_cast<const char*>(&signature), 4);
    EXPECT_NE(image.find(needle), std::string::npos) << name;
    ++found;
  }
  EXPECT_EQ(found, 26u);
}

TEST(GoldenDdb, EachGoldenReadsAndIsFullyUsable) {
  IMAGE_DIR dir;
  for (const GOLDEN& golden : goldens()) {
    SCOPED_TRACE(golden.m_name);
    COUNTERS counters;
    {
      ROOTS expected = golden.m_build();
      ROOTS roots;
      ASSERT_EQ(read_roots(dir.put(TEST_DIR::read(golden_path(golden))), roots), "");
      ASSERT_NE(roots.m_model, nullptr);
      EXPECT_EQ(outline(*roots.m_model), outline(*expected.m_model));
      EXPECT_EQ(differences(*roots.m_model, *expected.m_model), "");
      EXPECT_EQ(roots.m_master != nullptr, expected.m_master != nullptr);
      EXPECT_EQ(roots.m_lines != nullptr, expected.m_lines != nullptr);
      EXPECT_EQ(roots.m_ints != nullptr, expected.m_ints != nullptr);
      if (roots.m_master != nullptr) {
        // The clone answers the master's delays through its links.
        EXPECT_EQ(roots.m_model->get_micro_node_delay(TSU_DELAY, DTM_MAP_DEVICE),
                  expected.m_master->get_micro_node_delay(TSU_DELAY, DTM_MAP_DEVICE));
        EXPECT_EQ(roots.m_model->get_micro_node_delay(TCO_DELAY, DTM_MAP_DEVICE), 4242);
      }
      expected.destroy();
      MSG_CAPTURE capture;
      EXPECT_TRUE(use_and_free(roots, dir));
    }
    EXPECT_TRUE(counters.same());
  }
}

// --- Exhaustive damage -----------------------------------------------------------------------

// How one case ended.
struct TALLY {
  std::size_t m_cases = 0;
  std::size_t m_refused = 0;
  std::size_t m_read = 0;       // read, used and freed
  std::size_t m_saved = 0;      // of those, saved again
  std::size_t m_unchanged = 0;  // the damage left the byte as it was
};

// Every damaged image that reads is dumped, asked, extended and freed; the
// first ones and then one in k_save_every are saved again too. A save costs
// more than all the rest of a case (the writer fills a buffer of 256 KiB),
// and the ddb_load_save fuzz target saves whatever it reads anyway.
constexpr std::size_t k_save_first = 32;
constexpr std::size_t k_save_every = 16;

// Reads one damaged image. Unsealed damage must be refused; resealed damage
// is refused or gives roots that are fully usable. Memory comes back either
// way. Returns false (after a gtest failure) to stop the loop.
bool try_image(const IMAGE_DIR& dir, const std::string& image, bool resealed, TALLY& tally,
               const std::string& what) {
  const COUNTERS counters;
  ++tally.m_cases;
  ROOTS roots;
  std::string message;
  {
    MSG_CAPTURE capture;  // a damaged model may report what it meets
    message = read_roots(dir.put(image), roots);
    if (message.empty()) {
      if (!resealed) {
        ADD_FAILURE() << what << ": damage the checksums should catch was read";
      }
      ++tally.m_read;
      const bool save = tally.m_read <= k_save_first || tally.m_read % k_save_every == 0;
      tally.m_saved += save ? 1 : 0;
      if (!use_and_free(roots, dir, save)) {
        ADD_FAILURE() << what << ": the roots read cannot be saved";
        return false;
      }
    } else {
      ++tally.m_refused;
      if (message.rfind(dir.stem("in.ddb"), 0) != 0 && message != "cannot open") {
        ADD_FAILURE() << what << ": the message does not start with the file: " << message;
        return false;
      }
    }
  }
  if (!counters.same()) {
    ADD_FAILURE() << what << ": memory was not given back";
    return false;
  }
  return !::testing::Test::HasFailure();
}

}  // namespace

namespace dtm_corruption_test {
// The golden's name in test listings and failures.
void PrintTo(const GOLDEN& golden, std::ostream* os) { *os << golden.m_name; }
}  // namespace dtm_corruption_test

namespace {

class GoldenDdbDamage : public ::testing::TestWithParam<GOLDEN> {
 protected:
  void SetUp() override {
    m_good = TEST_DIR::read(golden_path(GetParam()));
    ASSERT_GT(m_good.size(), PDB_HEADER_SIZE);
  }
  void TearDown() override {
    std::cout << "[ cases    ] " << GetParam().m_name << ": " << m_tally.m_cases << " cases, "
              << m_tally.m_refused << " refused, " << m_tally.m_read << " read and used ("
              << m_tally.m_saved << " saved again), " << m_tally.m_unchanged << " left unchanged\n";
    RecordProperty("cases", static_cast<int>(m_tally.m_cases));
  }
  // The image damaged, then resealed (when a header remains).
  bool both(const std::string& damaged, const std::string& what) {
    if (!try_image(m_dir, damaged, false, m_tally, what)) {
      return false;
    }
    return damaged.size() < PDB_HEADER_SIZE ||
           try_image(m_dir, reseal(damaged), true, m_tally, what + " resealed");
  }
  IMAGE_DIR m_dir;
  std::string m_good;
  TALLY m_tally;
};

TEST_P(GoldenDdbDamage, EveryTruncation) {
  for (std::size_t length = 0; length < m_good.size(); ++length) {
    std::string image = m_good.substr(0, length);
    if (!try_image(m_dir, image, false, m_tally, "length " + std::to_string(length))) {
      return;
    }
    if (length >= PDB_HEADER_SIZE) {
      // The header then gives the new length: the parser meets the cut.
      const std::uint64_t size = length;
      std::memcpy(image.data() + 16, &size, 8);
      if (!try_image(m_dir, reseal(image), true, m_tally,
                     "length " + std::to_string(length) + " resealed")) {
        return;
      }
    }
  }
  EXPECT_EQ(m_tally.m_cases, m_good.size() + (m_good.size() - PDB_HEADER_SIZE));
  EXPECT_EQ(m_tally.m_read, 0u) << "a cut file lacks at least its root table";
}

TEST_P(GoldenDdbDamage, EveryByteSetToZeroAndToFF) {
  for (std::size_t at = 0; at < m_good.size(); ++at) {
    for (const unsigned char value : {0x00, 0xFF}) {
      if (static_cast<unsigned char>(m_good[at]) == value) {
        ++m_tally.m_unchanged;
        continue;
      }
      std::string image = m_good;
      image[at] = static_cast<char>(value);
      if (!both(image, "byte " + std::to_string(at) + " = " + std::to_string(value))) {
        return;
      }
    }
  }
  EXPECT_EQ(m_tally.m_cases, 2 * (2 * m_good.size() - m_tally.m_unchanged));
  EXPECT_GT(m_tally.m_refused, m_tally.m_cases / 2);
}

// Every bit of the header and of the object table; in the class and root
// tables of files above k_every_table_bit bytes, one bit per byte (a
// different one from byte to byte). The tables are names, signatures and
// layouts, refused as soon as one is wrong, and every table byte is also set
// to 0x00 and 0xFF above; the objects are where damage still reads.
constexpr std::size_t k_every_table_bit = 2048;

TEST_P(GoldenDdbDamage, EverySingleBitFlip) {
  std::uint64_t tables_at;
  std::memcpy(&tables_at, m_good.data() + 24, 8);
  ASSERT_LE(tables_at, m_good.size());
  std::size_t expected = 0;
  for (std::size_t at = 0; at < m_good.size(); ++at) {
    const bool every_bit = at < tables_at || m_good.size() <= k_every_table_bit;
    for (int bit = 0; bit < 8; ++bit) {
      if (!every_bit && bit != static_cast<int>(at % 8)) {
        continue;
      }
      std::string image = m_good;
      image[at] = static_cast<char>(image[at] ^ (1 << bit));
      expected += 2;
      if (!both(image, "byte " + std::to_string(at) + " bit " + std::to_string(bit))) {
        return;
      }
    }
  }
  EXPECT_EQ(m_tally.m_cases, expected);
  EXPECT_GE(m_tally.m_cases, 2 * 8 * tables_at);
  EXPECT_GT(m_tally.m_read, 0u) << "some flips (in a delay, a description) still read";
}

INSTANTIATE_TEST_SUITE_P(Goldens, GoldenDdbDamage, ::testing::ValuesIn(goldens()),
                         [](const ::testing::TestParamInfo<GOLDEN>& info) {
                           return std::string(info.param.m_name);
                         });

}  // namespace
