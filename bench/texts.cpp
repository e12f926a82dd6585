#include "bench/texts.hpp"

#include <absl/strings/str_cat.h>
#include <absl/strings/str_join.h>
#include <fmt/format.h>

#include <iomanip>
#include <sstream>

#include "compat/text.hpp"

namespace vantrel_can_bridge::bench {

using Bytes = std::vector<std::uint8_t>;
using std::string;

// --- Ours ---

using business_layer::bottom_compat::HexBytes;
using business_layer::bottom_compat::rewrite;
using business_layer::bottom_compat::text;

template <>
string Texts<Ours>::dispatch(std::int32_t cmd) {
  return text("dispatch cmd=", cmd);
}

template <>
string Texts<Ours>::light_summary(const Request& request) {
  return text("CMD_OPERATE_LIGHT: bottom_rgb=", request.bottom_rgb, " left_rgb=", request.left_rgb,
              " right_rgb=", request.right_rgb);
}

template <>
string Texts<Ours>::led_label(std::uint32_t rgb) {
  return text("led rgb=", rgb);
}

template <>
string Texts<Ours>::pump_summary(std::int64_t channel, const Request& request) {
  return text("CMD_HANDLE_PUMP: channel=", channel, " cmd=", request.pump_cmd,
              " duty=", request.pump_duty);
}

template <>
string Texts<Ours>::pump_label(std::int64_t channel, std::int32_t target) {
  return text("pump channel=", channel, " target=", target);
}

template <>
string Texts<Ours>::hex(const Bytes& payload) {
  return text(HexBytes{payload});
}

template <>
string Texts<Ours>::begin(const string& label, const string& board, const string& device,
                          const string& op, const Bytes& payload) {
  return text("operate begin: ", label, " board=", board, " device=", device, " op=", op,
              " payload=", HexBytes{payload});
}

template <>
void Texts<Ours>::end(string& line, const string& label, bool success, const string& message) {
  rewrite(line, "operate end: ", label, " success=", success, " message=", message);
}

// --- String streams ---

template <>
string Texts<StringStreams>::dispatch(std::int32_t cmd) {
  std::ostringstream out;
  out << "dispatch cmd=" << cmd;
  return out.str();
}

template <>
string Texts<StringStreams>::light_summary(const Request& request) {
  std::ostringstream out;
  out << "CMD_OPERATE_LIGHT: bottom_rgb=" << request.bottom_rgb << " left_rgb=" << request.left_rgb
      << " right_rgb=" << request.right_rgb;
  return out.str();
}

template <>
string Texts<StringStreams>::led_label(std::uint32_t rgb) {
  std::ostringstream out;
  out << "led rgb=" << rgb;
  return out.str();
}

template <>
string Texts<StringStreams>::pump_summary(std::int64_t channel, const Request& request) {
  std::ostringstream out;
  out << "CMD_HANDLE_PUMP: channel=" << channel << " cmd=" << request.pump_cmd
      << " duty=" << request.pump_duty;
  return out.str();
}

template <>
string Texts<StringStreams>::pump_label(std::int64_t channel, std::int32_t target) {
  std::ostringstream out;
  out << "pump channel=" << channel << " target=" << target;
  return out.str();
}

template <>
string Texts<StringStreams>::hex(const Bytes& payload) {
  std::ostringstream out;
  out << '[' << std::hex << std::setfill('0');
  const char* before = "0x";
  for (const std::uint8_t byte : payload) {
    out << before << std::setw(2) << unsigned{byte};
    before = " 0x";
  }
  out << ']';
  return out.str();
}

template <>
string Texts<StringStreams>::begin(const string& label, const string& board, const string& device,
                                   const string& op, const Bytes& payload) {
  std::ostringstream out;
  out << "operate begin: " << label << " board=" << board << " device=" << device << " op=" << op
      << " payload=" << hex(payload);
  return out.str();
}

template <>
void Texts<StringStreams>::end(string& line, const string& label, bool success,
                               const string& message) {
  std::ostringstream out;
  out << "operate end: " << label << " success=" << std::boolalpha << success
      << " message=" << message;
  line = out.str();
}

// --- fmt ---

template <>
string Texts<Fmt>::dispatch(std::int32_t cmd) {
  return fmt::format("dispatch cmd={}", cmd);
}

template <>
string Texts<Fmt>::light_summary(const Request& request) {
  return fmt::format("CMD_OPERATE_LIGHT: bottom_rgb={} left_rgb={} right_rgb={}",
                     request.bottom_rgb, request.left_rgb, request.right_rgb);
}

template <>
string Texts<Fmt>::led_label(std::uint32_t rgb) {
  return fmt::format("led rgb={}", rgb);
}

template <>
string Texts<Fmt>::pump_summary(std::int64_t channel, const Request& request) {
  return fmt::format("CMD_HANDLE_PUMP: channel={} cmd={} duty={}", channel, request.pump_cmd,
                     request.pump_duty);
}

template <>
string Texts<Fmt>::pump_label(std::int64_t channel, std::int32_t target) {
  return fmt::format("pump channel={} target={}", channel, target);
}

template <>
string Texts<Fmt>::hex(const Bytes& payload) {
  return fmt::format("[{:#04x}]", fmt::join(payload, " "));
}

template <>
string Texts<Fmt>::begin(const string& label, const string& board, const string& device,
                         const string& op, const Bytes& payload) {
  return fmt::format("operate begin: {} board={} device={} op={} payload=[{:#04x}]", label, board,
                     device, op, fmt::join(payload, " "));
}

template <>
void Texts<Fmt>::end(string& line, const string& label, bool success, const string& message) {
  line = fmt::format("operate end: {} success={} message={}", label, success, message);
}

// --- absl ---

template <>
string Texts<Absl>::dispatch(std::int32_t cmd) {
  return absl::StrCat("dispatch cmd=", cmd);
}

template <>
string Texts<Absl>::light_summary(const Request& request) {
  return absl::StrCat("CMD_OPERATE_LIGHT: bottom_rgb=", request.bottom_rgb,
                      " left_rgb=", request.left_rgb, " right_rgb=", request.right_rgb);
}

template <>
string Texts<Absl>::led_label(std::uint32_t rgb) {
  return absl::StrCat("led rgb=", rgb);
}

template <>
string Texts<Absl>::pump_summary(std::int64_t channel, const Request& request) {
  return absl::StrCat("CMD_HANDLE_PUMP: channel=", channel, " cmd=", request.pump_cmd,
                      " duty=", request.pump_duty);
}

template <>
string Texts<Absl>::pump_label(std::int64_t channel, std::int32_t target) {
  return absl::StrCat("pump channel=", channel, " target=", target);
}

template <>
string Texts<Absl>::hex(const Bytes& payload) {
  const auto append_byte = [](string* out, std::uint8_t byte) {
    absl::StrAppend(out, "0x", absl::Hex(byte, absl::kZeroPad2));
  };
  return absl::StrCat("[", absl::StrJoin(payload, " ", append_byte), "]");
}

template <>
string Texts<Absl>::begin(const string& label, const string& board, const string& device,
                          const string& op, const Bytes& payload) {
  return absl::StrCat("operate begin: ", label, " board=", board, " device=", device, " op=", op,
                      " payload=", hex(payload));
}

template <>
void Texts<Absl>::end(string& line, const string& label, bool success, const string& message) {
  line = absl::StrCat("operate end: ", label, " success=", success ? "true" : "false",
                      " message=", message);
}

// --- std::to_string and + ---

template <>
string Texts<ToString>::dispatch(std::int32_t cmd) {
  return "dispatch cmd=" + std::to_string(cmd);
}

template <>
string Texts<ToString>::light_summary(const Request& request) {
  return "CMD_OPERATE_LIGHT: bottom_rgb=" + std::to_string(request.bottom_rgb) +
         " left_rgb=" + std::to_string(request.left_rgb) +
         " right_rgb=" + std::to_string(request.right_rgb);
}

template <>
string Texts<ToString>::led_label(std::uint32_t rgb) {
  return "led rgb=" + std::to_string(rgb);
}

template <>
string Texts<ToString>::pump_summary(std::int64_t channel, const Request& request) {
  return "CMD_HANDLE_PUMP: channel=" + std::to_string(channel) +
         " cmd=" + std::to_string(request.pump_cmd) + " duty=" + std::to_string(request.pump_duty);
}

template <>
string Texts<ToString>::pump_label(std::int64_t channel, std::int32_t target) {
  return "pump channel=" + std::to_string(channel) + " target=" + std::to_string(target);
}

template <>
string Texts<ToString>::hex(const Bytes& payload) {
  constexpr char kDigits[] = "0123456789abcdef";
  string out = "[";
  for (const std::uint8_t byte : payload) {
    out += out.size() > 1 ? " 0x" : "0x";
    out += kDigits[byte / 16U];
    out += kDigits[byte % 16U];
  }
  return out + "]";
}

template <>
string Texts<ToString>::begin(const string& label, const string& board, const string& device,
                              const string& op, const Bytes& payload) {
  return "operate begin: " + label + " board=" + board + " device=" + device + " op=" + op +
         " payload=" + hex(payload);
}

template <>
void Texts<ToString>::end(string& line, const string& label, bool success, const string& message) {
  line =
      "operate end: " + label + " success=" + (success ? "true" : "false") + " message=" + message;
}

}  // namespace vantrel_can_bridge::bench
