#include "workbench/scenario_reader.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <memory>
#include <set>
#include <utility>
#include <vector>

#include "workbench/clock.hpp"
#include "workbench/device_values.hpp"
#include "workbench/expectation_reader.hpp"
#include "workbench/fault_reader.hpp"
#include "workbench/robot_file.hpp"
#include "workbench/scenario_context.hpp"
#include "workbench/yaml_document.hpp"
#include "workbench/yaml_scalars.hpp"
#include "workbench/yaml_values.hpp"

namespace vantrel_can_bridge::workbench {
namespace {

using std::chrono::nanoseconds;

/// Of a wait that does not say how long.
constexpr nanoseconds kAtMost = std::chrono::minutes(1);

using Action = std::optional<StepAction>;

// --- Requests ---

std::optional<std::int64_t> read_cmd(const YamlNode& node, InputErrors& errors) {
  const bool is_name = node.kind == YamlNode::Kind::Scalar && !node.text.empty() &&
                       node.text.front() >= 'a' && node.text.front() <= 'z';
  if (!is_name) {
    const RequestField& field = *find_request_field("cmd");
    return read_integer(node, {field.min(), field.max()}, errors);
  }
  std::vector<std::string> names;
  for (const CommandName& command : command_names()) {
    if (names.empty() || names.back() != command.name) {
      names.emplace_back(command.name);
    }
    if (node.text == command.name) {
      return command.cmd;
    }
  }
  report_wrong_value(node, "a number, or " + one_of(names), nearest_name(node.text, names), errors);
  return std::nullopt;
}

/// A number as everywhere, or in hexadecimal.
std::optional<std::int64_t> read_colour(const RequestField& field, const YamlNode& node,
                                        InputErrors& errors) {
  const bool is_plain = node.kind == YamlNode::Kind::Scalar && !node.quoted;
  if (const auto colour = is_plain ? parse_colour(node.text) : std::nullopt) {
    return colour;
  }
  InputErrors of_integer;  // not told: they know nothing of hexadecimal digits
  const auto number = read_integer(node, {field.min(), field.max()}, of_integer);
  if (!number) {
    report_wrong_value(node, field.expected(), meant_colour(node.text), errors);
  }
  return number;
}

std::optional<std::int64_t> read_field(const RequestField& field, const YamlNode& node,
                                       InputErrors& errors) {
  return field.name == "cmd" ? read_cmd(node, errors)
         : field.is_colour() ? read_colour(field, node, errors)
                             : read_integer(node, {field.min(), field.max()}, errors);
}

Request read_request(const YamlNode& node, InputErrors& errors) {
  Request request;
  MappingReader keys(node, "a request", errors);
  for (const RequestField& field : request_fields()) {
    const std::string name(field.name);
    const YamlNode* const value =
        name == "cmd" ? keys.need(name, "a number or a command's name") : keys.find(name);
    if (value == nullptr) {
      continue;
    }
    if (const auto number = read_field(field, *value, errors)) {
      field.set(request, *number);
    }
  }
  keys.finish();
  return request;
}

EmergencyEdge read_edge(const YamlNode& node, InputErrors& errors) {
  return read_word(node, {"raise", "clear"}, errors) == std::size_t{1} ? EmergencyEdge::Clear
                                                                       : EmergencyEdge::Raise;
}

struct MomentKey {
  const char* key;
  Moment::Kind kind;
};

constexpr MomentKey kMomentKeys[] = {{"before_operation", Moment::Kind::BeforeOperation},
                                     {"after_operation", Moment::Kind::AfterOperation},
                                     {"in_wait", Moment::Kind::InWait}};

PlannedEmergency read_planned_emergency(const YamlNode& node, InputErrors& errors) {
  PlannedEmergency planned;
  MappingReader keys(node, "a moment", errors);
  if (const YamlNode* const edge = keys.need("emergency", "raise or clear")) {
    planned.edge = read_edge(*edge, errors);
  }
  int moments = 0;
  if (const YamlNode* const after = keys.find("after")) {
    ++moments;
    planned.at = read_duration(*after, errors).value_or(nanoseconds(0));
  }
  for (const MomentKey& moment : kMomentKeys) {
    if (const YamlNode* const number = keys.find(moment.key)) {
      ++moments;
      planned.at = Moment{
          moment.kind, static_cast<std::uint64_t>(read_integer(*number, {1}, errors).value_or(1))};
    }
  }
  keys.finish();
  if (node.kind == YamlNode::Kind::Mapping && moments != 1) {
    errors.add(node.place, fmt::format("found {} moments; expected one of after, "
                                       "before_operation, after_operation or in_wait",
                                       moments == 0 ? "no" : std::to_string(moments)));
  }
  return planned;
}

std::vector<PlannedEmergency> read_during(const YamlNode& node, InputErrors& errors) {
  std::vector<PlannedEmergency> during;
  if (is_sequence(node, "a list of moments", errors)) {
    for (const YamlNode& item : node.items) {
      during.push_back(read_planned_emergency(item, errors));
    }
  }
  return during;
}

// --- Steps ---

/// What holds whatever happens was left unfinished.
void refuse_empty(const YamlNode& node, const char* expected, InputErrors& errors) {
  if (node.kind == YamlNode::Kind::Mapping && node.keys.empty()) {
    errors.add(node.place, fmt::format("{}: found none; expected {}", node.label, expected));
  }
}

/// Keys that belong to some actions.
constexpr const char* kBesideActions[] = {"background", "during", "at_most"};

class StepReader {
 public:
  StepReader(const YamlNode& node, ScenarioContext& context)
      : node_(node), context_(context), keys_(node, "a step", context.errors) {}

  Step read();

  /// `node` with the name that was meant in place of a misspelt action, which is reported:
  /// reading on as if it were right, one mistake makes one error. Nothing where there is
  /// nothing to correct.
  [[nodiscard]] static std::optional<YamlNode> corrected(const YamlNode& node, InputErrors& errors);

 private:
  using Read = Action (StepReader::*)(const YamlNode&);
  struct Kind {
    const char* key;
    Read read;
  };
  static const std::vector<Kind>& kinds();
  static std::vector<std::string> kind_names();

  [[nodiscard]] Action read_action();
  void finish();
  Action request(const YamlNode& value);
  Action wait(const YamlNode& value);
  Action wait_for(const YamlNode& value);
  Action wait_until(const YamlNode& value);
  Action emergency(const YamlNode& value);
  Action fault(const YamlNode& value);
  Action clear_faults(const YamlNode& value);
  Action note(const YamlNode& value);

  /// The key "background": a name that no step before has taken.
  [[nodiscard]] std::string read_background(std::set<std::string>& names);
  [[nodiscard]] nanoseconds read_at_most();
  InputErrors& errors() { return context_.errors; }

  const YamlNode& node_;
  ScenarioContext& context_;
  MappingReader keys_;
  bool has_action_ = false;
  bool has_reply_ = false;
};

const std::vector<StepReader::Kind>& StepReader::kinds() {
  static const std::vector<Kind> kKinds = {
      {"request", &StepReader::request},           {"wait", &StepReader::wait},
      {"wait_for", &StepReader::wait_for},         {"wait_until", &StepReader::wait_until},
      {"emergency", &StepReader::emergency},       {"fault", &StepReader::fault},
      {"clear_faults", &StepReader::clear_faults}, {"note", &StepReader::note}};
  return kKinds;
}

std::vector<std::string> StepReader::kind_names() {
  std::vector<std::string> names;
  for (const Kind& kind : kinds()) {
    names.emplace_back(kind.key);
  }
  return names;
}

std::optional<YamlNode> StepReader::corrected(const YamlNode& node, InputErrors& errors) {
  const std::vector<std::string> actions = kind_names();
  const auto is_action = [&actions](const std::string& name) {
    return std::find(actions.begin(), actions.end(), name) != actions.end();
  };
  if (std::any_of(node.keys.begin(), node.keys.end(),
                  [&](const YamlNode::Key& key) { return is_action(key.name); })) {
    return std::nullopt;
  }
  std::vector<std::string> names = actions;
  names.emplace_back("expect");
  names.insert(names.end(), std::begin(kBesideActions), std::end(kBesideActions));
  for (std::size_t index = 0; index < node.keys.size(); ++index) {
    const YamlNode::Key& key = node.keys[index];
    const std::string meant = nearest_name(key.name, names);
    if (is_action(meant)) {
      errors.add(key.place, fmt::format("found {}, which is unknown in a step; did you mean {}?",
                                        printable(key.name), meant));
      YamlNode copy = node;
      copy.keys[index].name = meant;
      return copy;
    }
  }
  return std::nullopt;
}

Step StepReader::read() {
  Step step{node_.place.line, LookAround{}, {}};
  if (node_.kind != YamlNode::Kind::Mapping) {
    return step;
  }
  if (Action action = read_action()) {
    step.action = *std::move(action);
  }
  if (const YamlNode* const expect = keys_.find("expect")) {
    has_action_ = true;
    refuse_empty(*expect, "an expectation or more", errors());
    step.expectations = read_expectations(*expect, has_reply_, context_);
  }
  finish();
  return step;
}

void StepReader::finish() {
  if (!has_action_) {  // what belongs to some action is not unknown for want of it
    for (const char* const name : kBesideActions) {
      (void)keys_.find(name);
    }
  }
  const std::size_t errors_before = errors().count();
  keys_.finish();
  if (!has_action_ && errors().count() == errors_before) {
    std::vector<std::string> names = kind_names();
    names.emplace_back("expect");
    errors().add(node_.place, "the step does nothing; expected one of " + one_of(names));
  }
}

Action StepReader::read_action() {
  std::vector<std::pair<const Kind*, const YamlNode*>> there;
  for (const Kind& kind : kinds()) {
    if (const YamlNode* const value = keys_.find(kind.key)) {
      there.emplace_back(&kind, value);
    }
  }
  for (std::size_t extra = 1; extra < there.size(); ++extra) {
    errors().add(there[extra].second->place,
                 fmt::format("{}: a second action; expected one a step, beside {}",
                             there[extra].first->key, there.front().first->key));
  }
  has_action_ = !there.empty();
  return has_action_ ? (this->*there.front().first->read)(*there.front().second) : std::nullopt;
}

Action StepReader::request(const YamlNode& value) {
  SendRequest step{
      read_request(value, errors()), read_background(context_.background_requests), {}};
  has_reply_ = step.background.empty();
  if (const YamlNode* const during = keys_.find("during")) {
    step.during = read_during(*during, errors());
  }
  return step;
}

Action StepReader::wait(const YamlNode& value) {
  return WaitForTime{read_duration(value, errors()).value_or(nanoseconds(0))};
}

Action StepReader::wait_for(const YamlNode& value) {
  WaitForRequest step{read_string(value, errors()).value_or(""), read_at_most()};
  has_reply_ = context_.background_requests.count(step.background) != 0;
  if (value.kind == YamlNode::Kind::Scalar && !has_reply_ &&
      context_.background_recoveries.count(step.background) == 0) {
    std::vector<std::string> names(context_.background_requests.begin(),
                                   context_.background_requests.end());
    names.insert(names.end(), context_.background_recoveries.begin(),
                 context_.background_recoveries.end());
    report_wrong_value(value, "the name of background work that a step before this one starts",
                       nearest_name(step.background, names), errors());
  }
  return step;
}

Action StepReader::wait_until(const YamlNode& value) {
  refuse_empty(value, "a condition or more", errors());
  WaitForValues step;
  for (At<ValueCondition>& condition : read_conditions(value, context_)) {
    step.conditions.push_back(std::move(condition.expected));
  }
  step.at_most = read_at_most();
  return step;
}

Action StepReader::emergency(const YamlNode& value) {
  ChangeEmergency step{read_edge(value, errors()), {}};
  if (step.edge == EmergencyEdge::Clear) {
    step.background = read_background(context_.background_recoveries);
  }
  return step;
}

Action StepReader::fault(const YamlNode& value) {
  const std::optional<FaultRule> rule = read_fault(value, context_);
  return rule ? Action(AddFault{*rule}) : std::nullopt;
}

Action StepReader::clear_faults(const YamlNode& value) {
  const std::optional<std::string> name = read_string(value, errors());
  if (name == "all") {
    return ClearFaults{{}};
  }
  if (name && context_.fault_rules.count(*name) == 0) {
    const std::vector<std::string> names(context_.fault_rules.begin(), context_.fault_rules.end());
    report_wrong_value(value, "all, or the name of a fault rule that a step before this one adds",
                       nearest_name(*name, names), errors());
  }
  return ClearFaults{name.value_or("")};
}

Action StepReader::note(const YamlNode& value) {
  return Announce{read_string(value, errors()).value_or("")};
}

std::string StepReader::read_background(std::set<std::string>& names) {
  std::string name;
  const YamlNode* const value = keys_.find("background");
  if (value == nullptr || !keys_.optional("background", name)) {
    return {};
  }
  const bool is_new = context_.background_requests.count(name) == 0 &&
                      context_.background_recoveries.count(name) == 0;
  if (name.empty() || !is_new) {
    report_wrong_value(*value, "a name that no other background work has", "", errors());
    return {};
  }
  names.insert(name);
  return name;
}

nanoseconds StepReader::read_at_most() {
  const YamlNode* const value = keys_.find("at_most");
  return value == nullptr ? kAtMost : read_duration(*value, errors()).value_or(kAtMost);
}

// --- The file ---

void read_steps(const YamlNode& node, Scenario& scenario, InputErrors& errors) {
  if (!is_sequence(node, "a list of steps", errors)) {
    return;
  }
  const SimulatedBoards boards(scenario.robot, std::make_shared<SteadyClock>());
  ScenarioContext context{errors, scenario.config, boards, {}, {}, {}, {}};
  for (const DeviceValue& value : device_values(boards.snapshot(), scenario.robot)) {
    context.value_names.push_back(value.name);
  }
  for (const YamlNode& item : node.items) {
    const std::optional<YamlNode> corrected = StepReader::corrected(item, errors);
    scenario.steps.push_back(StepReader(corrected ? *corrected : item, context).read());
  }
}

/// `changes` in place of the values of the same name in `document`.
void change_values(YamlNode& document, const YamlNode& changes) {
  for (std::size_t change = 0; change < changes.keys.size(); ++change) {
    const auto same = std::find_if(
        document.keys.begin(), document.keys.end(),
        [&](const YamlNode::Key& key) { return key.name == changes.keys[change].name; });
    if (same == document.keys.end()) {
      document.keys.push_back(changes.keys[change]);
      document.items.push_back(changes.items[change]);
    } else {
      const auto index = static_cast<std::size_t>(same - document.keys.begin());
      *same = changes.keys[change];
      document.items[index] = changes.items[change];
    }
  }
}

/// The robot file, with the scenario's own values where it has some.
std::optional<RobotFile> read_changed_robot(const std::string& path, const YamlNode* changes,
                                            InputErrors& errors) {
  std::optional<YamlNode> document = read_yaml_file(path, errors);
  if (!document || document->kind != YamlNode::Kind::Mapping) {
    return document ? read_robot(*document, errors) : std::nullopt;
  }
  if (changes != nullptr && is_mapping(*changes, "a mapping of robot fields", errors)) {
    change_values(*document, *changes);
  }
  return read_robot(*document, errors);
}

void set_robot(Scenario& scenario, const RobotFile& robot) {
  const SimulationSettings& simulation = robot.simulation;
  scenario.config = robot.config;
  scenario.robot = describe_robot(robot.config, simulation.claw_travel);
  scenario.robot.default_latency = simulation.default_latency;
  scenario.robot.latencies.insert(simulation.latencies.begin(), simulation.latencies.end());
  scenario.seed = static_cast<std::uint64_t>(simulation.seed);
}

/// Whether the scenario has a robot to be played on.
bool read_scenario_robot(MappingReader& keys, Scenario& scenario, InputErrors& errors) {
  const YamlNode* const changes = keys.find("with");
  if (!keys.required("robot", scenario.robot_file)) {
    return false;
  }
  const auto robot = read_changed_robot(scenario.robot_path().string(), changes, errors);
  if (robot) {
    set_robot(scenario, *robot);
  }
  return robot.has_value();
}

std::optional<Scenario> read_scenario(const std::optional<YamlNode>& root, const std::string& file,
                                      InputErrors& errors) {
  if (!root) {
    return std::nullopt;
  }
  Scenario scenario;
  scenario.file = file;
  MappingReader keys(*root, "a scenario", errors);
  keys.required("title", scenario.title);
  const bool has_robot = read_scenario_robot(keys, scenario, errors);
  if (const YamlNode* const seed = keys.find("seed")) {
    scenario.seed = static_cast<std::uint64_t>(read_integer(*seed, {0}, errors).value_or(0));
  }
  if (const YamlNode* const limit = keys.find("time_limit")) {
    scenario.time_limit = read_duration(*limit, errors).value_or(scenario.time_limit);
  }
  const YamlNode* const steps = keys.need("steps", "a list of steps");
  if (steps != nullptr && has_robot) {  // which names are known depends on the robot
    read_steps(*steps, scenario, errors);
  }
  keys.finish();
  scenario.document = *root;
  return errors.empty() ? std::optional(std::move(scenario)) : std::nullopt;
}

}  // namespace

std::optional<Scenario> read_scenario_file(const std::string& path, InputErrors& errors) {
  return read_scenario(read_yaml_file(path, errors), path, errors);
}

std::optional<Scenario> empty_scenario(const std::string& robot_path, InputErrors& errors) {
  const std::optional<RobotFile> robot = read_robot_file(robot_path, errors);
  if (!robot) {
    return std::nullopt;
  }
  Scenario scenario;
  scenario.robot_file = robot_path;
  set_robot(scenario, *robot);
  return scenario;
}

std::optional<Scenario> read_scenario_text(std::string_view text, const std::string& name,
                                           InputErrors& errors) {
  return read_scenario(read_yaml_text(text, name, errors), name, errors);
}

}  // namespace vantrel_can_bridge::workbench
