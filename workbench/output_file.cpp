#include "workbench/output_file.hpp"

#include <cerrno>
#include <system_error>
#include <utility>

namespace vantrel_can_bridge::workbench {

OutputFile::OutputFile(std::string path) : path_(std::move(path)) {
  errno = 0;
  file_.open(path_, std::ios::binary);
  if (!file_) {
    fail(errno);
  }
}

void OutputFile::close() {
  if (!error_.empty()) {
    return;
  }
  const bool failed_before = !file_;
  errno = 0;
  file_.close();
  if (!file_) {
    // Of an earlier write the reason is long gone.
    fail(failed_before ? 0 : errno);
  }
}

void OutputFile::fail(int error_number) {
  error_ = path_ + ": cannot be written";
  if (error_number != 0) {
    error_ += ": " + std::generic_category().message(error_number);
  }
}

}  // namespace vantrel_can_bridge::workbench
