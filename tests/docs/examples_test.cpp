#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <ostream>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/run_program.hpp"
#include "tests/workbench/scenario_fixture.hpp"
#include "workbench/console_view.hpp"
#include "workbench/player.hpp"
#include "workbench/simulated_time.hpp"
#include "workbench/yaml_document.hpp"

// What the documents show is what happens: examples are played, commands of the workbench
// are run, and nothing that the readers of files know is missing in docs/workbench.md.
namespace vantrel_can_bridge::workbench::test {
namespace {

namespace fs = std::filesystem;
using vantrel_can_bridge::test::ProgramRun;
using Lines = std::vector<std::string>;

Lines lines_of(std::istream&& text) {
  Lines lines;
  for (std::string line; std::getline(text, line);) {
    lines.push_back(line);
  }
  return lines;
}

/// A fenced block of a document.
struct Block {
  fs::path document;
  std::size_t line = 0;  // of its first line, from 1
  Lines lines;

  [[nodiscard]] std::string text() const {
    std::string text;
    for (const std::string& each : lines) {
      text += each + '\n';
    }
    return text;
  }
};
void PrintTo(const Block& block, std::ostream* out) {
  *out << block.document.string() << ':' << block.line;
}

std::vector<Block> blocks_in(const fs::path& document, const std::string& language) {
  std::vector<Block> blocks;
  const Lines lines = lines_of(std::ifstream(document));
  for (std::size_t at = 0; at < lines.size(); ++at) {
    if (lines[at] != "```" + language) {
      continue;
    }
    Block block{document, at + 2, {}};
    for (++at; at < lines.size() && lines[at] != "```"; ++at) {
      block.lines.push_back(lines[at]);
    }
    blocks.push_back(std::move(block));
  }
  return blocks;
}

const fs::path kDocs = SOURCE_DIR "/docs";

/// The blocks of all documents.
std::vector<Block> blocks(const std::string& language) {
  std::set<fs::path> documents = {SOURCE_DIR "/README.md", SOURCE_DIR "/CONTRIBUTING.md"};
  for (const fs::directory_entry& entry : fs::directory_iterator(kDocs)) {
    if (entry.path().extension() == ".md") {
      documents.insert(entry.path());
    }
  }
  std::vector<Block> blocks;
  for (const fs::path& document : documents) {
    for (Block& block : blocks_in(document, language)) {
      blocks.push_back(std::move(block));
    }
  }
  return blocks;
}

std::string test_name(const testing::TestParamInfo<Block>& info) {
  return info.param.document.stem().string() + "Line" + std::to_string(info.param.line);
}

/// A block as a scenario: lists of steps are played on the reference robot.
std::string scenario_of(const Block& block) {
  const std::string text = block.text();
  return text.compare(0, 2, "- ") == 0 ? scenario_text(text) : text;
}

// --- Examples are played ---

class DocumentedExample : public testing::TestWithParam<Block> {};
INSTANTIATE_TEST_SUITE_P(Blocks, DocumentedExample, testing::ValuesIn(blocks("yaml")), test_name);

TEST_P(DocumentedExample, HoldsWhatItExpects) {
  InputErrors errors;
  const auto scenario =
      read_scenario_text(scenario_of(GetParam()), SOURCE_DIR "/scenarios/docs.yaml", errors);
  ASSERT_TRUE(scenario.has_value()) << errors.lines();
  std::ostringstream failures;
  ConsoleView console(failures, {{false, false}, true});
  SimulatedTime time;
  const PlayResult result = play(*scenario, time, console);
  EXPECT_TRUE(result.is_good()) << result.error << '\n' << failures.str();
  EXPECT_GT(result.held, 0U) << "an example that expects nothing shows nothing";
}

// --- Commands are run ---

/// Whether `actual` from `at` on is `expected` from `next` on, where "…" stands for any lines.
bool is_shortened(const Lines& expected, std::size_t next, const Lines& actual, std::size_t at) {
  if (next == expected.size()) {
    return at == actual.size();
  }
  if (expected[next] == "…") {
    return is_shortened(expected, next + 1, actual, at) ||
           (at < actual.size() && is_shortened(expected, next, actual, at + 1));
  }
  return at < actual.size() && expected[next] == actual[at] &&
         is_shortened(expected, next + 1, actual, at + 1);
}

/// Blocks of commands that run the workbench; tests/docs/check.py looks at the others.
std::vector<Block> commands() {
  std::vector<Block> commands;
  for (Block& block : blocks("console")) {
    if (block.text().find("$ bottom-workbench ") != std::string::npos) {
      commands.push_back(std::move(block));
    }
  }
  return commands;
}

/// Commands are run in a folder that looks like the project's and may be written to.
class DocumentedRun : public testing::Test {
 protected:
  void SetUp() override {
    std::string name = (fs::temp_directory_path() / "documents.XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    folder_ = name;
    for (const char* read : {"docs", "robots", "scenarios"}) {
      fs::create_symlink(fs::path(SOURCE_DIR) / read, folder_ / read);
    }
  }
  void TearDown() override { fs::remove_all(folder_); }

  [[nodiscard]] ProgramRun run_line(const std::string& line) const {
    const std::string path = fs::path(BOTTOM_WORKBENCH).parent_path().string();
    return vantrel_can_bridge::test::run_program(
        "/usr/bin/env", {"-C", folder_.string(), "LC_ALL=C", "PATH=" + path + ":/usr/bin:/bin",
                         "bash", "-c", line});
  }

 private:
  fs::path folder_;
};

class DocumentedCommand : public DocumentedRun, public testing::WithParamInterface<Block> {};
INSTANTIATE_TEST_SUITE_P(Blocks, DocumentedCommand, testing::ValuesIn(commands()), test_name);

TEST_P(DocumentedCommand, PrintsWhatIsShown) {
  const Lines& lines = GetParam().lines;
  ProgramRun last;
  for (std::size_t at = 0; at < lines.size();) {
    const std::string command = lines[at++];
    Lines expected;
    while (at < lines.size() && lines[at].compare(0, 2, "$ ") != 0) {
      expected.push_back(lines[at++]);
    }
    if (command == "$ echo $?") {
      EXPECT_EQ(expected, Lines{std::to_string(last.exit_code)});
      continue;
    }
    ASSERT_THAT(command, testing::StartsWith("$ "));
    last = run_line(command.substr(2));
    EXPECT_TRUE(is_shortened(expected, 0, lines_of(std::istringstream(last.out + last.err)), 0))
        << command << " prints\n"
        << last.out << last.err;
  }
}

TEST_F(DocumentedRun, WritesTheTracesThatAreShown) {
  const ProgramRun run = run_line(
      "bottom-workbench play scenarios/cleaning-round.yaml --quiet --trace t --perfetto p && "
      "sed 's/,$//' t p");
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const Lines written = lines_of(std::istringstream(run.out));
  for (const Block& block : blocks("json")) {
    for (const std::string& line : block.lines) {
      EXPECT_THAT(written, testing::Contains(line)) << testing::PrintToString(block);
    }
  }
}

// --- Nothing is missing ---

using Names = std::set<std::string>;

/// The keys that stand below each key, by that key; "" for those of the whole document.
void collect_keys(const YamlNode& node, const std::string& parent,
                  std::map<std::string, Names>& keys) {
  for (std::size_t index = 0; index < node.items.size(); ++index) {
    const bool is_mapping = node.kind == YamlNode::Kind::Mapping;
    if (is_mapping) {
      keys[parent].insert(node.keys[index].name);
    }
    collect_keys(node.items[index], is_mapping ? node.keys[index].name : parent, keys);
  }
}

/// What a reader knows in place of the mistake in `scenario`, from its message about it.
Names known_names(const std::string& scenario, const std::string& before) {
  InputErrors errors;
  EXPECT_FALSE(read_scenario_text(scenario, SOURCE_DIR "/scenarios/docs.yaml", errors));
  std::string list = errors.lines();
  const std::size_t begin = list.find(before);
  EXPECT_NE(begin, std::string::npos) << list;
  list = list.substr(begin + before.size());
  list = list.substr(0, list.find_first_of(";\n"));
  Names names;
  for (const std::string separator : {" or ", ", "}) {
    for (std::size_t at = list.find(separator); at != std::string::npos;
         at = list.find(separator)) {
      list.replace(at, separator.size(), "\n");
    }
  }
  for (const std::string& name : lines_of(std::istringstream(list))) {
    names.insert(name);
  }
  return names;
}

struct Place {
  const char* name;
  const char* parent;    // key below which the names stand
  const char* scenario;  // with the key "qqqqqq" in that place
};
void PrintTo(const Place& place, std::ostream* out) { *out << place.name; }

class DocumentedKeys : public testing::TestWithParam<Place> {};

TEST_P(DocumentedKeys, AreAllPlayedInAnExample) {
  std::map<std::string, Names> shown;
  for (const Block& block : blocks_in(kDocs / "workbench.md", "yaml")) {
    InputErrors errors;
    const auto root = read_yaml_text(scenario_of(block), "docs", errors);
    ASSERT_TRUE(root.has_value()) << errors.lines();
    collect_keys(*root, "", shown);
  }
  const Names known = known_names(GetParam().scenario, "expected one of ");
  EXPECT_GE(known.size(), 3U);
  for (const std::string& name : known) {
    EXPECT_EQ(shown[GetParam().parent].count(name), 1U)
        << "no example has " << name << " below \"" << GetParam().parent << '"';
  }
}

#define ON_ROBOT "title: x\nrobot: ../robots/reference.yaml\n"

INSTANTIATE_TEST_SUITE_P(
    Places, DocumentedKeys,
    testing::Values(
        Place{"Scenario", "", ON_ROBOT "steps: []\nqqqqqq: 1\n"},
        Place{"Simulation", "simulation", ON_ROBOT "with: {simulation: {qqqqqq: 1}}\nsteps: []\n"},
        Place{"Actions", "steps", ON_ROBOT "steps:\n- {wait: 1 s, qqqqqq: 1}\n"},
        Place{"Requests", "steps", ON_ROBOT "steps:\n- {request: {cmd: 0}, qqqqqq: 1}\n"},
        Place{"Recoveries", "steps", ON_ROBOT "steps:\n- {emergency: clear, qqqqqq: 1}\n"},
        Place{"Conditions", "steps",
              ON_ROBOT "steps:\n- {wait_until: {emergency: clear}, qqqqqq: 1}\n"},
        Place{"Moments", "during",
              ON_ROBOT "steps:\n- request: {cmd: 0}\n"
                       "  during: [{emergency: raise, after: 1 s, qqqqqq: 1}]\n"},
        Place{"Faults", "fault", ON_ROBOT "steps:\n- fault: {refuse: x, qqqqqq: 1}\n"},
        Place{"Expectations", "expect", ON_ROBOT "steps:\n- expect: {qqqqqq: 1}\n"},
        Place{"Replies", "reply",
              ON_ROBOT "steps:\n- request: {cmd: 0}\n"
                       "  expect: {reply: {success: true, qqqqqq: 1}}\n"}),
    [](const auto& place) { return place.param.name; });

TEST(DocumentedWords, AreAllThere) {
  std::ostringstream document;
  document << std::ifstream(kDocs / "workbench.md").rdbuf();
  const auto has = [&document](const std::string& text) {
    return document.str().find(text) != std::string::npos;
  };
  const std::pair<const char*, const char*> rows[] = {
      {ON_ROBOT "steps:\n- emergency: qqqqqq\n", "expected "},
      {ON_ROBOT "steps:\n- expect: {claws: {motor1: qqqqqq}}\n", "expected "},
      {ON_ROBOT "steps:\n- request: {cmd: qqqqqq}\n", "expected a number, or "}};
  for (const auto& [scenario, before] : rows) {
    for (const std::string& word : known_names(scenario, before)) {
      EXPECT_TRUE(has('`' + word + '`') || has(": " + word + '`')) << word;
    }
  }
}

}  // namespace
}  // namespace vantrel_can_bridge::workbench::test
