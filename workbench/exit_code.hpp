#pragma once

namespace vantrel_can_bridge::workbench {

/// How the program ends, the same for all of its subcommands.
enum class ExitCode : int {
  Held = 0,           ///< all went as it should
  Failed = 1,         ///< an expectation, a check or a request failed
  Usage = 2,          ///< an argument or an input file is wrong, or output cannot be written
  Interrupted = 130,  ///< by Ctrl-C
};

}  // namespace vantrel_can_bridge::workbench
