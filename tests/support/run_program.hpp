#pragma once

#include <string>
#include <vector>

namespace vantrel_can_bridge::test {

/// How a program ended and everything that it wrote.
struct ProgramRun {
  int exit_code = -1;  ///< 128 + the signal number when a signal ended it
  std::string out;
  std::string err;
};

/// Runs the program at `path` and waits for its end. Its standard output and error are
/// files, its standard input is empty. Throws `std::system_error` where it cannot start.
[[nodiscard]] ProgramRun run_program(const std::string& path,
                                     const std::vector<std::string>& arguments);

/// Starts the program as `run_program` does, interrupts it as Ctrl-C does once its standard
/// output has come to `until`, and waits for its end.
[[nodiscard]] ProgramRun interrupt_program(const std::string& path,
                                           const std::vector<std::string>& arguments,
                                           const std::string& until);

}  // namespace vantrel_can_bridge::test
