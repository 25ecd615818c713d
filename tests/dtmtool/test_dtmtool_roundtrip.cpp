// The round trip: a model written as DMF text by export and built again is
// equal to the model it came from, for every bundled example (each device)
// and for generated models.
#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "dmf_generator.h"
#include "dtmtool_run.h"

namespace {

struct MODEL_SOURCE {
  std::string m_name;
  std::string m_file;
  std::optional<std::string> m_device;

  std::vector<std::string> args(const std::string& command) const {
    std::vector<std::string> words = {command};
    if (m_device) {
      words.push_back("--device=" + *m_device);
    }
    words.push_back(m_file);
    return words;
  }
};

// The DMF text of an export without its first line (which names the input).
std::string body(const std::string& text) {
  const std::size_t end = text.find('\n');
  return end == std::string::npos ? std::string() : text.substr(end + 1);
}

// An outline without the marks of each delay's place in its delay tree
// ("<" and ">" before the key): those follow the order the delays were
// stored in, which the export does not keep (it writes them in key order).
std::string without_tree_marks(const std::string& outline) {
  std::string text;
  std::istringstream in(outline);
  for (std::string line; std::getline(in, line);) {
    const std::size_t key = line.find("\t|-- [");
    if (key != std::string::npos) {
      std::size_t marks = key;
      while (marks > 0 && (line[marks - 1] == '<' || line[marks - 1] == '>')) {
        --marks;
      }
      line.erase(marks, key - marks);
    }
    text += line + '\n';
  }
  return text;
}

std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    lines.push_back(line);
  }
  return lines;
}

// Each amalgamated file once per device, as `dtmtool devices` lists them.
void add_sources(std::vector<MODEL_SOURCE>& sources, const std::string& name,
                 const std::string& file) {
  const TOOL_RUN devices = run_dtmtool({"devices", file});
  if (devices.m_status != 0) {
    sources.push_back({name, file, std::nullopt});
    return;
  }
  for (const std::string& device : lines_of(devices.m_out)) {
    sources.push_back({name + " device " + device, file, device});
  }
}

void expect_equal_models(const std::string& a, const std::string& b) {
  for (const bool reversed : {false, true}) {
    const TOOL_RUN run = run_dtmtool({"diff", reversed ? b : a, reversed ? a : b});
    EXPECT_EQ(run.m_status, 0) << run.m_out << run.m_err;
    EXPECT_EQ(run.m_out, "");
  }
}

void expect_round_trip(const MODEL_SOURCE& source, const TEST_DIR& dir) {
  SCOPED_TRACE(source.m_name);
  // build -> export -> build, through databases.
  const std::string model = dir.path("model.ddb");
  const std::string text_file = dir.path("export.dmf");
  const std::string rebuilt = dir.path("rebuilt.ddb");
  std::vector<std::string> build = source.args("build");
  build.insert(build.end(), {"-o", model});
  const TOOL_RUN built = run_dtmtool(build);
  ASSERT_EQ(built.m_status, 0) << built.m_err;
  const TOOL_RUN exported = run_dtmtool({"export", model, "-o", text_file});
  ASSERT_EQ(exported.m_status, 0) << exported.m_err;
  EXPECT_EQ(exported.m_err, "");
  const TOOL_RUN built_again = run_dtmtool({"build", text_file, "-o", rebuilt});
  ASSERT_EQ(built_again.m_status, 0) << built_again.m_err;

  // diff finds the two models equal both ways round, and each equal to the
  // model of the source text.
  expect_equal_models(model, rebuilt);
  std::vector<std::string> diff = source.args("diff");
  diff.push_back(rebuilt);
  const TOOL_RUN against_source = run_dtmtool(diff);
  EXPECT_EQ(against_source.m_status, 0) << against_source.m_out << against_source.m_err;

  // Their outlines, descriptions and point-to-point directions included, are
  // the same but for the shape of the delay trees.
  EXPECT_EQ(without_tree_marks(run_dtmtool({"dump", rebuilt}).m_out),
            without_tree_marks(run_dtmtool({"dump", model}).m_out));

  // The rebuilt model exports to the same text: the export walks the model
  // in the order of its nodes and, per node, its delays in key order, so
  // this holds only when the nodes, descriptions and delays are the same and
  // in the same order.
  const TOOL_RUN again = run_dtmtool({"export", rebuilt, "-o", "-"});
  ASSERT_EQ(again.m_status, 0) << again.m_err;
  const std::string text = TEST_DIR::read(text_file);
  EXPECT_EQ(body(again.m_out), body(text));
  EXPECT_GT(lines_of(body(text)).size(), 0u);
}

TEST(DtmtoolRoundTrip, BundledExamples) {
  std::vector<MODEL_SOURCE> sources;
  for (const auto& entry : std::filesystem::directory_iterator(KESTREL_EXAMPLES_DIR)) {
    if (entry.path().extension() == ".dmf") {
      add_sources(sources, entry.path().filename().string(), entry.path().string());
    }
  }
  add_sources(sources, "good.dmf", KESTREL_SOURCE_DIR "/tests/data/dtmtool/good.dmf");
  add_sources(sources, "sections.dmf", KESTREL_SOURCE_DIR "/tests/data/dtmtool/sections.dmf");
  ASSERT_GE(sources.size(), 4u);
  const TEST_DIR dir;
  for (const MODEL_SOURCE& source : sources) {
    expect_round_trip(source, dir);
  }
}

TEST(DtmtoolRoundTrip, GeneratedModels) {
  const TEST_DIR dir;
  for (unsigned seed = 1; seed <= 12; ++seed) {
    DMF_GENERATOR generator(seed);
    const std::string name = "generated-" + std::to_string(seed) + ".dmf";
    const std::string file =
        dir.write(name, seed % 4 == 0 ? generator.amalgamated(120, 2) : generator.plain(250));
    std::vector<MODEL_SOURCE> sources;
    add_sources(sources, name, file);
    for (const MODEL_SOURCE& source : sources) {
      expect_round_trip(source, dir);
    }
  }
}

}  // namespace
