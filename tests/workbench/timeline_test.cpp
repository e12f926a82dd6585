#include <expat.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/workbench/every_event.hpp"
#include "tests/workbench/played.hpp"
#include "workbench/markup.hpp"
#include "workbench/timeline_axis.hpp"
#include "workbench/timeline_drawing.hpp"
#include "workbench/timeline_html.hpp"

namespace vantrel_can_bridge::workbench::test {
namespace {

using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::Not;

std::string draw(const std::vector<Event>& events, TimelineForm form,
                 const std::string& title = "title") {
  std::ostringstream out;
  TimelineHtml sink(out, form, title);
  write_events(events, sink);
  return out.str();
}

/// What a strict reader of XML finds.
struct Document {
  explicit Document(const std::string& text) {
    const std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> parser(
        XML_ParserCreate("UTF-8"), &XML_ParserFree);
    XML_SetUserData(parser.get(), this);
    XML_SetElementHandler(
        parser.get(),
        [](void* self, const char* name, const char** attributes) {
          static_cast<Document*>(self)->begin(name, attributes);
        },
        [](void* self, const char*) { static_cast<Document*>(self)->end(); });
    XML_SetCharacterDataHandler(parser.get(), [](void* self, const char* data, int length) {
      static_cast<Document*>(self)->texts_.back().append(data, static_cast<std::size_t>(length));
    });
    if (XML_Parse(parser.get(), text.data(), static_cast<int>(text.size()), 1) != XML_STATUS_OK) {
      error = std::string(XML_ErrorString(XML_GetErrorCode(parser.get()))) + " in line " +
              std::to_string(XML_GetCurrentLineNumber(parser.get()));
    }
  }

  void begin(const std::string& name, const char** attributes) {
    names.insert(name);
    open_.push_back(name);
    texts_.emplace_back();
    for (; *attributes != nullptr; attributes += 2) {
      attribute_names.insert(attributes[0]);
    }
  }
  void end() {
    if (open_.back() == "title") {
      titles.push_back(texts_.back());
    }
    open_.pop_back();
    texts.push_back(texts_.back());
    texts_.pop_back();
  }

  std::string error;
  std::set<std::string> names;
  std::set<std::string> attribute_names;
  std::vector<std::string> texts;   // of all elements
  std::vector<std::string> titles;  // of those of that name

 private:
  std::vector<std::string> open_;   // elements
  std::vector<std::string> texts_;  // theirs
};

class TimelineOfEveryEvent : public testing::TestWithParam<TimelineForm> {};

TEST_P(TimelineOfEveryEvent, IsWellFormedWhateverTheTextsHold) {
  const Document document(draw(every_event(kNasty), GetParam(), kNasty));
  EXPECT_EQ(document.error, "");
  EXPECT_THAT(document.texts, Contains(HasSubstr("<b a='1'>&amp;\"\\\n␍\t␁␡\xef\xbf\xbd"
                                                 "\xef\xbf\xbd 伸出 ␀]]> --> </script>")));
}

TEST_P(TimelineOfEveryEvent, RefersToNothingOutside) {
  const Document document(draw(every_event("t"), GetParam()));
  for (const char* const name : {"script", "link", "img", "image", "iframe", "use", "a"}) {
    EXPECT_THAT(document.names, Not(Contains(name)));
  }
  for (const char* const name : {"src", "href", "onload", "onclick"}) {
    EXPECT_THAT(document.attribute_names, Not(Contains(name)));
  }
  EXPECT_THAT(draw(every_event("t"), GetParam()), Not(HasSubstr("url(")));
}

TEST_P(TimelineOfEveryEvent, IsTheSameForTheSameRun) {
  const std::string once = draw(played(kRound).events, GetParam());
  EXPECT_EQ(once, draw(played(kRound).events, GetParam()));
  EXPECT_EQ(Document(once).error, "");
}

TEST_P(TimelineOfEveryEvent, IsWellFormedWithoutAnyEvent) {
  std::ostringstream out;
  TimelineHtml(out, GetParam(), "nothing").on_end({});
  EXPECT_EQ(Document(out.str()).error, "");
}

INSTANTIATE_TEST_SUITE_P(Forms, TimelineOfEveryEvent,
                         testing::Values(TimelineForm::Page, TimelineForm::Svg),
                         [](const auto& form) {
                           return form.param == TimelineForm::Page ? "Page" : "Svg";
                         });

TEST(Timeline, HasTheExactTextsOfARun) {
  const Document document(draw(played(kRound).events, TimelineForm::Svg));
  EXPECT_THAT(
      document.texts,
      IsSupersetOf({HasSubstr("cmd 13 handle_pump pump_cmd=1 pump_duty=80\nsuccess\n"),
                    HasSubstr("cmd 9 fill_light rgb=0x808080\nsuccess\n"),
                    HasSubstr("motor1 claw_extend"), HasSubstr("fault on motor1 claw_extend"),
                    HasSubstr("claw_extend, attempt 2\n"), HasSubstr("pump 3: 80 %\n"),
                    HasSubstr("motor1: extending\n"), HasSubstr("emergency stop\n"),
                    HasSubstr("drawn shorter than it was\n")}));
}

TEST(Timeline, LeavesLanesOutInWhichNothingIs) {
  const Document document(
      draw(played("  - request: {cmd: handle_pump, pump_cmd: 1, pump_duty: 1}\n").events,
           TimelineForm::Svg));
  EXPECT_THAT(document.texts, Contains("pump 3"));
  EXPECT_THAT(document.texts, Not(Contains("pump 1")));
  EXPECT_THAT(document.texts, Not(Contains("motor1")));
  EXPECT_THAT(document.texts, Not(Contains("log")));
}

TEST(Timeline, DrawsEachRequestOfALongRunOnce) {
  std::vector<Event> events;
  for (ActivityId request = 1; request <= 200; ++request) {
    events.push_back({2 * request * 1s, "main", RequestBegun{request, {}, 13, {}, {}}});
    events.push_back({(2 * request + 1) * 1s, "main", RequestEnded{request, {}, {}}});
  }
  const Document document(draw(events, TimelineForm::Svg));
  for (ActivityId request = 1; request <= 200; ++request) {
    const std::string begin = std::to_string(request) + ". cmd 13\n";
    EXPECT_EQ(std::count_if(document.titles.begin(), document.titles.end(),
                            [&](const std::string& title) {
                              return title.compare(0, begin.size(), begin) == 0;
                            }),
              1)
        << begin;
  }
}

// Each strip has the claw's way through it, not through all of the run.
TEST(Timeline, GrowsWithTheLengthOfTheRun) {
  const auto size_of = [](ActivityId requests) {
    std::vector<Event> events;
    for (ActivityId request = 1; request <= requests; ++request) {
      const auto begin = 2 * request * 1s;
      events.push_back({begin, "main", RequestBegun{request, {}, 0, {}, {}}});
      for (const std::int64_t permille : {0, 500, 1000}) {
        events.push_back({begin + permille * 1ms, "main",
                          DeviceStateChanged{"b", "motor1", "position", permille, ""}});
      }
      events.push_back({begin + 1s, "main", RequestEnded{request, {}, {}}});
    }
    return draw(events, TimelineForm::Svg).size();
  };
  EXPECT_LT(size_of(800), 5 * size_of(200));
}

TEST(Timeline, SumsTheRunUp) {
  const Document document(draw(every_event("t"), TimelineForm::Page));
  EXPECT_THAT(document.texts,
              Contains("0.009 s · 2 requests (1 failed) · 3 device operations · 1 emergency stop · "
                       "1 injected fault · 1 of 1 expectation failed"));
}

TEST(Timeline, HasWholeNotesOnThePageForWhoReadsItOnPaper) {
  const std::string note(500, 'n');
  const std::string page = draw({{0s, "main", Note{note}}}, TimelineForm::Page);
  EXPECT_THAT(page, HasSubstr("<h2>Notes</h2>"));
  EXPECT_THAT(page, HasSubstr("<td class=\"text\">" + note + "</td>"));
}

TEST(Timeline, HoldsAClawUntilItWasSeenAtItsOldPlace) {
  const OperationBegun query{1, 0, "b", "motor1", "claw_query_state", {}, ""};
  const auto moved = [](std::int64_t permille) {
    return DeviceStateChanged{"b", "motor1", "position", permille, ""};
  };
  TimelineBuilder builder;
  for (const Event& event : std::vector<Event>{{1s, "main", moved(100)},
                                               {5s, "main", query},
                                               {5s, "main", OperationEnded{query, {}, {}}},
                                               {6s, "main", moved(200)},
                                               {7s, "main", moved(300)}}) {
    builder.add(event);
  }
  std::vector<std::pair<std::chrono::nanoseconds, std::int64_t>> positions;
  const Timeline timeline = builder.finish(8s);
  for (const TimelineValue& value : timeline.devices.at(0).values) {
    positions.emplace_back(value.at.time, value.value);
  }
  EXPECT_THAT(positions, ElementsAre(std::pair(1s, 100), std::pair(5s, 100), std::pair(6s, 200),
                                     std::pair(7s, 300)));
}

TEST(Timeline, HoldsAClawThatTheEmergencyStopMeetsFirst) {
  // Told to move at 5 s, at home until then, and under way when the stop comes at 6 s.
  const OperationBegun move{1, 0, "b", "motor1", "claw_extend", {}, ""};
  TimelineBuilder builder;
  for (const Event& event : std::vector<Event>{
           {5s, "main", move},
           {5s, "main", OperationEnded{move, {true, {}, ""}, {}}},
           {6s, "emergency", EmergencyRaised{}},
           {6s, "emergency", DeviceStateChanged{"b", "motor1", "position", 55, ""}}}) {
    builder.add(event);
  }
  std::vector<std::pair<std::chrono::nanoseconds, std::int64_t>> positions;
  const Timeline timeline = builder.finish(8s);
  for (const TimelineValue& value : timeline.devices.at(0).values) {
    positions.emplace_back(value.at.time, value.value);
  }
  EXPECT_THAT(positions, ElementsAre(std::pair(5s, 0), std::pair(6s, 55)));
}

/// Where the names of the emergency stops begin.
std::vector<double> stop_names(const std::vector<Event>& events) {
  const std::string drawing = draw(events, TimelineForm::Svg);
  const std::regex name("<text x=\"([0-9.]+)\"[^>]*class=\"stop-name\">");
  std::vector<double> places;
  for (std::sregex_iterator found(drawing.begin(), drawing.end(), name), end; found != end;
       ++found) {
    places.push_back(std::stod((*found)[1]));
  }
  return places;
}

TEST(Timeline, NamesAnEmergencyStopAtTheRightEdgeInsideThePicture) {
  const std::vector<double> places = stop_names({{0s, "main", RequestBegun{1, {}, 13, {}, {}}},
                                                 {99s, "main", EmergencyRaised{}},
                                                 {100s, "main", RequestEnded{1, {}, {}}}});
  ASSERT_EQ(places.size(), 1U);
  EXPECT_LE(places[0], kTimelineWidth - 100) << "as wide as it is drawn";
}

TEST(Timeline, NamesTheFirstOfEmergencyStopsThatAreTooCloseForTwoNames) {
  std::vector<Event> events = {{0s, "main", RequestBegun{1, {}, 13, {}, {}}}};
  for (const auto begin : {10s, 11s, 60s}) {
    events.push_back({begin, "main", EmergencyRaised{}});
    events.push_back({begin + 500ms, "main", EmergencyCleared{}});
  }
  events.push_back({100s, "main", RequestEnded{1, {}, {}}});
  const std::vector<double> places = stop_names(events);
  ASSERT_EQ(places.size(), 2U);
  EXPECT_GT(places[1] - places[0], 100);
}

// --- Axis ---

using Scale = TimelineAxis::Scale;

TEST(TimelineAxis, StretchesShortRequestsAndShortensIdleTime) {
  const TimelineAxis axis({{{1s, 1}, 1}, {{2s, 2}, 0}, {{1h, 3}, 1}, {{1h + 1ms, 4}, 0}},
                          {1h + 1ms, 5}, 1000);
  std::vector<Scale> scales;
  double x = 0;
  for (const TimelineAxis::Stretch& stretch : axis.stretches()) {
    scales.push_back(stretch.scale);
    EXPECT_EQ(stretch.x, x);
    EXPECT_GT(stretch.width, 0);
    x += stretch.width;
  }
  EXPECT_NEAR(x, 1000, 1);
  EXPECT_THAT(scales, ElementsAre(Scale::Shortened, Scale::True, Scale::Shortened, Scale::Stretched,
                                  Scale::Stretched));
}

TEST(TimelineAxis, KeepsTheOrderOfWhatTakesNoTime) {
  const TimelineAxis axis({{{0s, 1}, 1}, {{0s, 5}, 0}}, {0s, 6}, 1000);
  double last = -1;
  for (std::size_t event = 0; event <= 6; ++event) {
    EXPECT_GT(axis.x({0s, event}), last);
    last = axis.x({0s, event});
  }
}

TEST(TimelineAxis, GoesOnInFurtherStripsWhereItIsLong) {
  std::vector<AxisKnot> knots;
  for (std::size_t i = 0; i < 400; ++i) {
    knots.push_back({{i * 1s, i + 1}, (i + 1) % 2});
  }
  const TimelineAxis axis(knots, {400s, 401}, 1000);
  const auto strips = axis.strips();
  EXPECT_GT(strips.size(), 4U);
  double end = 0;
  for (const TimelineAxis::Strip& strip : strips) {
    EXPECT_EQ(strip.begin, end);
    EXPECT_LE(strip.end - strip.begin, 1001);
    end = strip.end;
  }
  EXPECT_EQ(end, axis.x({400s, 401}));
}

TEST(TimelineAxis, LabelsRoundTimesFarEnoughApart) {
  const TimelineAxis axis({{{0s, 1}, 1}}, {10s, 2}, 1000);
  std::vector<std::string> texts;
  double last = -100;
  for (const TimelineAxis::Tick& tick : axis.ticks(axis.strips().at(0))) {
    texts.push_back(tick.text);
    EXPECT_GT(tick.x - last, 50);
    last = tick.x;
  }
  EXPECT_THAT(texts, ElementsAre("0 s", "1 s", "2 s", "3 s", "4 s", "5 s", "6 s", "7 s", "8 s",
                                 "9 s", "10 s"));
}

TEST(SecondsText, IsExact) {
  EXPECT_EQ(seconds_text(0ns), "0 s");
  EXPECT_EQ(seconds_text(1ns), "0.000000001 s");
  EXPECT_EQ(seconds_text(1250ms), "1.25 s");
  EXPECT_EQ(seconds_text(10h), "36000 s");
}

TEST(MarkupText, ReplacesOnlyWhatMarkupCannotHold) {
  EXPECT_EQ(markup_text("a<b>&\"c\" 'd'"), "a&lt;b&gt;&amp;&quot;c&quot; 'd'");
  EXPECT_EQ(markup_text("伸出\n\t"), "伸出\n\t");
  EXPECT_EQ(markup_text("\x1f\x7f"), "␟␡");
  EXPECT_EQ(markup_text("\xc2\x9f\xc2\xa0"), "\xef\xbf\xbd\xc2\xa0");
  EXPECT_EQ(markup_text("\xef\xbf\xbe\xed\xa0\x80"),
            "\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd");
}

}  // namespace
}  // namespace vantrel_can_bridge::workbench::test
