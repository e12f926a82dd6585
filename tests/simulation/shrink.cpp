#include "tests/simulation/shrink.hpp"

#include <utility>

namespace vantrel_can_bridge::test::simulation {
namespace {

using Fails = std::function<bool(const Case&)>;

class Shrinker {
 public:
  Shrinker(Case script, const Fails& fails) : smallest_(std::move(script)), fails_(fails) {}

  Case run() {
    do {
      progress_ = false;
      shorten([](Case& c) -> std::vector<Step>& { return c.steps; });
      for (std::size_t i = 0; i < smallest_.steps.size(); ++i) {
        simplify_step(i);
      }
      simplify([](Case& c, auto visitor) { visit_config(c.config, visitor); });
      simplify([](Case& c, auto visitor) { visit_channels(c.channels, visitor); });
    } while (progress_);
    return smallest_;
  }

 private:
  void simplify_step(std::size_t i) {
    shorten([i](Case& c) -> std::vector<Incident>& { return c.steps[i].incidents; });
    if (smallest_.steps[i].repeats) {
      Case smaller = smallest_;
      smaller.steps[i].repeats = false;
      accept(std::move(smaller));
    }
    shorten([i](Case& c) -> std::vector<Answer>& { return c.steps[i].answers; });
    for (std::size_t k = 0; k < smallest_.steps[i].answers.size(); ++k) {
      simplify([i, k](Case& c, auto visitor) { visit_answer(c.steps[i].answers[k], visitor); });
    }
    simplify([i](Case& c, auto visitor) { visit_request(c.steps[i].request, visitor); });
    simplify([i](Case& c, auto visitor) { visit_arguments(c.steps[i].arguments, visitor); });
  }

  /// Leaves out parts of a list: halves first, single items last.
  template <class ListOf>
  void shorten(ListOf list_of) {
    for (std::size_t part = list_of(smallest_).size(); part > 0; part /= 2) {
      for (std::size_t end = list_of(smallest_).size(); end >= part; --end) {
        Case smaller = smallest_;
        auto& list = list_of(smaller);
        const auto from = list.begin() + static_cast<std::ptrdiff_t>(end - part);
        list.erase(from, from + static_cast<std::ptrdiff_t>(part));
        accept(std::move(smaller));
        if (list_of(smallest_).size() < end) {
          end = list_of(smallest_).size() + 1;
        }
      }
    }
  }

  /// Sets one field after the other to its default, as far as that goes.
  template <class VisitIn>
  void simplify(VisitIn visit_in) {
    for (std::size_t field = 0;; ++field) {
      Case smaller = smallest_;
      std::size_t seen = 0;
      bool changed = false;
      visit_in(smaller, [&](const char* name, auto& value) {
        if (seen++ == field) {
          changed = reset(name, value);
        }
      });
      if (seen <= field) {
        return;
      }
      if (changed) {
        accept(std::move(smaller));
      }
      shorten_field(visit_in, field);
    }
  }

  /// A list or text that cannot go as a whole loses items from its end.
  template <class VisitIn>
  void shorten_field(VisitIn visit_in, std::size_t field) {
    for (bool shorter = true; shorter;) {
      shorter = false;
      Case smaller = smallest_;
      std::size_t seen = 0;
      visit_in(smaller, [&](const char*, auto& value) {
        if constexpr (!std::is_arithmetic_v<std::decay_t<decltype(value)>>) {
          if (seen == field && !value.empty()) {
            value.pop_back();
            shorter = true;
          }
        }
        ++seen;
      });
      shorter = shorter && accept(std::move(smaller));
    }
  }

  template <class Value>
  static bool reset(const std::string& name, Value& value) {
    Value initial{};
    if constexpr (std::is_same_v<Value, bool>) {
      initial = is_true_by_default(name);
    }
    return !(std::exchange(value, initial) == initial);
  }

  static bool is_true_by_default(const std::string& name) {
    return name == "debug" || name == "info" || name == "warn" || name == "success" ||
           name == "confirms";
  }

  bool accept(Case smaller) {
    if (!fails_(smaller)) {
      return false;
    }
    smallest_ = std::move(smaller);
    progress_ = true;
    return true;
  }

  Case smallest_;
  const Fails& fails_;
  bool progress_ = false;
};

}  // namespace

Case shrink(Case script, const Fails& fails) { return Shrinker(std::move(script), fails).run(); }

}  // namespace vantrel_can_bridge::test::simulation
