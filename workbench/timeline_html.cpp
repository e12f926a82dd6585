#include "workbench/timeline_html.hpp"

#include <fmt/format.h>
#include <fmt/ostream.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "workbench/markup.hpp"
#include "workbench/timeline_drawing.hpp"

namespace vantrel_can_bridge::workbench {
namespace {

constexpr std::string_view kPageStyle = R"css(
:root { color-scheme: light dark; }
body { margin: 24px auto; padding: 0 20px; max-width: 1180px; background: #ffffff;
  color: #1f2933; font: 14px/1.5 system-ui, "Segoe UI", Helvetica, Arial, sans-serif; }
h1 { font-size: 22px; margin: 0; }
h2 { font-size: 16px; margin: 28px 0 6px; }
.facts { color: #66727f; margin: 2px 0 18px; }
.scroll { overflow-x: auto; }
svg.timeline { display: block; min-width: 900px; width: 100%; height: auto; }
table { border-collapse: collapse; width: 100%; font-size: 13px; }
th { text-align: left; font-weight: 600; color: #66727f; white-space: nowrap; }
th.number { text-align: right; }
th, td { padding: 3px 10px 3px 0; vertical-align: top; border-bottom: 1px solid #e3e7ec;
  overflow-wrap: anywhere; }
td.number { text-align: right; white-space: nowrap; font-variant-numeric: tabular-nums; }
td.thread { white-space: nowrap; }
td.text { white-space: pre-wrap; }
tr.failure td.text { color: #c62f2f; }
@media (prefers-color-scheme: dark) {
  body { background: #14181d; color: #e4e8ed; }
  .facts, th { color: #97a3b0; }
  th, td { border-color: #2c333b; }
  tr.failure td.text { color: #f06a6a; }
}
@media print {
  @page { size: A4 landscape; margin: 10mm; }
  body { margin: 0; padding: 0; max-width: none; background: #ffffff; color: #000000; }
  svg.timeline { min-width: 0; break-inside: avoid; }
  tr { break-inside: avoid; }
}
)css";

std::string count(std::size_t number, std::string_view what) {
  return fmt::format("{} {}{}", number, what, number == 1 ? "" : "s");
}

/// The run in a line.
std::string facts(const Timeline& timeline) {
  const std::size_t failed = timeline.failed_requests;
  const auto unmet = static_cast<std::size_t>(
      std::count_if(timeline.problems.begin(), timeline.problems.end(),
                    [](const auto& problem) { return problem.kind == MarkKind::Expectation; }));
  std::string text = fmt::format("{} · {}{} · {}", seconds_text(timeline.end.time),
                                 count(timeline.requests, "request"),
                                 failed == 0 ? std::string() : fmt::format(" ({} failed)", failed),
                                 count(timeline.operations, "device operation"));
  const auto add = [&](std::size_t number, const std::string& what) {
    text += number == 0 ? std::string() : " · " + what;
  };
  add(timeline.stops.size(), count(timeline.stops.size(), "emergency stop"));
  add(timeline.faults, count(timeline.faults, "injected fault"));
  add(timeline.expectations, unmet == 0 ? count(timeline.expectations, "expectation") + " held"
                                        : fmt::format("{} of {} failed", unmet,
                                                      count(timeline.expectations, "expectation")));
  return text;
}

std::string cell(const char* classes, const std::string& text) {
  return fmt::format("<td class=\"{}\">{}</td>", classes, markup_text(text));
}

void write_requests(std::ostream& out, const Timeline& timeline) {
  if (timeline.rows.empty()) {
    return;
  }
  out << "<h2>Requests and recoveries</h2>\n<table>\n<thead><tr><th></th>"
         "<th class=\"number\">from</th><th "
         "class=\"number\">took</th><th>thread</th><th>request</th><th>reply</th></tr></"
         "thead>\n<tbody>\n";
  for (const auto& [number, row] : timeline.rows) {
    fmt::print(out, "<tr{}>{}{}{}{}{}{}</tr>\n",
               row.outcome == Outcome::Success ? "" : " class=\"failure\"",
               cell("number", std::to_string(number)), cell("number", seconds_text(row.begin.time)),
               cell("number", seconds_text(row.end.time - row.begin.time)),
               cell("thread", row.thread), cell("request", row.request), cell("text", row.reply));
  }
  out << "</tbody>\n</table>\n";
}

void write_marks(std::ostream& out, std::string_view heading,
                 const std::vector<TimelineMark>& marks) {
  if (marks.empty()) {
    return;
  }
  out << "<h2>" << heading << "</h2>\n<table>\n<tbody>\n";
  for (const TimelineMark& mark : marks) {
    const bool is_bad = mark.kind == MarkKind::Warning || mark.kind == MarkKind::Expectation;
    fmt::print(out, "<tr{}>{}{}</tr>\n", is_bad ? " class=\"failure\"" : "",
               cell("number", seconds_text(mark.at.time)), cell("text", mark.text));
  }
  out << "</tbody>\n</table>\n";
}

void write_page(std::ostream& out, const std::string& title, const Timeline& timeline) {
  const std::string name = markup_text(title);
  // The policy lets a browser load nothing and run nothing, whatever a text holds.
  fmt::print(out,
             "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\"/>\n"
             "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
             "style-src 'unsafe-inline'\"/>\n"
             "<meta name=\"viewport\" content=\"width=device-width\"/>\n"
             "<title>{}</title>\n<style>{}{}</style>\n</head>\n<body>\n<h1>{}</h1>\n"
             "<p class=\"facts\">{}</p>\n<div class=\"scroll\">\n",
             name, kPageStyle, timeline_style(), name, markup_text(facts(timeline)));
  std::vector<Drawing> drawings = draw_strips(timeline);
  drawings.push_back(draw_legend());
  for (const Drawing& drawing : drawings) {
    fmt::print(out,
               "<svg xmlns=\"http://www.w3.org/2000/svg\" class=\"timeline\" "
               "viewBox=\"0 0 {0:.0f} {1:.0f}\" width=\"{0:.0f}\" height=\"{1:.0f}\">\n{2}</svg>\n",
               kTimelineWidth, drawing.height, drawing.markup);
  }
  out << "</div>\n";
  write_marks(out, "What went wrong", timeline.problems);
  write_marks(out, "Notes", timeline.chapters);  // above the lanes they may be cut short
  write_requests(out, timeline);
  write_marks(out, "Log", timeline.log);
  out << "</body>\n</html>\n";
}

void write_svg(std::ostream& out, const std::string& title, const Timeline& timeline) {
  constexpr double kTop = 56;
  constexpr double kGap = 14;
  std::string content;
  double y = kTop;
  std::vector<Drawing> drawings = draw_strips(timeline);
  drawings.push_back(draw_legend());
  for (const Drawing& drawing : drawings) {
    content += fmt::format("<g transform=\"translate(0 {:.1f})\">\n{}</g>\n", y, drawing.markup);
    y += drawing.height + kGap;
  }
  fmt::print(out,
             "<svg xmlns=\"http://www.w3.org/2000/svg\" class=\"timeline\" "
             "viewBox=\"0 0 {0:.0f} {1:.0f}\" width=\"{0:.0f}\" height=\"{1:.0f}\">\n"
             "<title>{2}</title>\n<style>{3}</style>\n"
             "<rect width=\"{0:.0f}\" height=\"{1:.0f}\" class=\"paper\"/>\n"
             "<text x=\"14\" y=\"24\" class=\"heading\">{2}</text>\n"
             "<text x=\"14\" y=\"42\" class=\"faint\">{4}</text>\n{5}</svg>\n",
             kTimelineWidth, y, markup_text(title), timeline_style(), markup_text(facts(timeline)),
             content);
}

}  // namespace

TimelineHtml::TimelineHtml(std::ostream& out, TimelineForm form, std::string title)
    : out_(out), form_(form), title_(std::move(title)) {}

void TimelineHtml::on_end(std::chrono::nanoseconds time) {
  const Timeline timeline = builder_.finish(time);
  switch (form_) {
    case TimelineForm::Page:
      write_page(out_, title_, timeline);
      break;
    case TimelineForm::Svg:
      write_svg(out_, title_, timeline);
      break;
  }
}

}  // namespace vantrel_can_bridge::workbench
