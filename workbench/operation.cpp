#include "workbench/operation.hpp"

#include <fmt/format.h>

namespace vantrel_can_bridge::workbench {

bool is_claw_move(std::string_view op) { return op == "claw_extend" || op == "claw_home"; }

std::string hex(const Bytes& bytes) { return fmt::format("{:02x}", fmt::join(bytes, " ")); }

}  // namespace vantrel_can_bridge::workbench
