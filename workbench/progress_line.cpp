#include "workbench/progress_line.hpp"

#include <fmt/format.h>

#include <cstdint>

namespace vantrel_can_bridge::workbench {
namespace {

using std::chrono::nanoseconds;

/// "0:12", "1:02:03".
std::string clock_text(std::chrono::seconds time) {
  const std::int64_t seconds = time.count();
  return seconds < 3600
             ? fmt::format("{}:{:02}", seconds / 60, seconds % 60)
             : fmt::format("{}:{:02}:{:02}", seconds / 3600, seconds / 60 % 60, seconds % 60);
}

}  // namespace

ProgressLine::ProgressLine(std::ostream& terminal) : terminal_(terminal), out_(this) {}

void ProgressLine::begin(nanoseconds now, std::optional<nanoseconds> total) {
  const std::lock_guard<std::mutex> lock(mutex_);
  begun_ = now;
  total_ = total;
}

void ProgressLine::end() {
  const std::lock_guard<std::mutex> lock(mutex_);
  erase();
  terminal_.flush();
  begun_.reset();
}

void ProgressLine::tick(nanoseconds now) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (!begun_ || now - *begun_ < kLong || (total_ && *total_ <= kLong) || !at_line_begin_) {
    return;
  }
  const std::string text =
      "  waiting " + clock_text(std::chrono::floor<std::chrono::seconds>(now - *begun_)) +
      (total_ ? " of " + clock_text(std::chrono::ceil<std::chrono::seconds>(*total_)) : "");
  if (text != drawn_) {
    erase();
    terminal_ << text << std::flush;
    drawn_ = text;
  }
}

ProgressLine::int_type ProgressLine::overflow(int_type character) {
  if (!traits_type::eq_int_type(character, traits_type::eof())) {
    const char one = traits_type::to_char_type(character);
    xsputn(&one, 1);
  }
  return traits_type::not_eof(character);
}

std::streamsize ProgressLine::xsputn(const char* text, std::streamsize size) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (size > 0) {
    erase();
    terminal_.write(text, size);
    at_line_begin_ = text[size - 1] == '\n';
  }
  return terminal_ ? size : 0;
}

int ProgressLine::sync() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return terminal_.flush() ? 0 : -1;
}

void ProgressLine::erase() {
  if (!drawn_.empty()) {
    // Blanks rather than a control sequence: every terminal knows them.
    terminal_ << '\r' << std::string(drawn_.size(), ' ') << '\r';
    drawn_.clear();
  }
}

}  // namespace vantrel_can_bridge::workbench
