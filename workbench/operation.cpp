#include "workbench/operation.hpp"

#include <fmt/format.h>

namespace vantrel_can_bridge::workbench {

std::string hex(const Bytes& bytes) { return fmt::format("{:02x}", fmt::join(bytes, " ")); }

}  // namespace vantrel_can_bridge::workbench
