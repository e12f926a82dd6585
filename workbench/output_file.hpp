#pragma once

#include <fstream>
#include <ostream>
#include <string>

namespace vantrel_can_bridge::workbench {

/// A file that the program was asked to write. What it held before is lost once it is open.
///
/// Errors are kept, so that whoever fills the file need not look at each write.
class OutputFile {
 public:
  explicit OutputFile(std::string path);

  [[nodiscard]] const std::string& path() const { return path_; }

  [[nodiscard]] std::ostream& stream() { return file_; }

  /// Empty while all is well, else "FILE: cannot be written: " and why.
  [[nodiscard]] const std::string& error() const { return error_; }

  /// Writes out what is still held back. Only then is it sure that there is no error.
  void close();

 private:
  void fail(int error_number);

  const std::string path_;
  std::ofstream file_;
  std::string error_;
};

}  // namespace vantrel_can_bridge::workbench
