#pragma once

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

/// Builds every log line, label and message of the orchestrator. The pieces are measured
/// first and then written side by side, so that a text costs one heap allocation, or none
/// where it fits the small-string buffer or the text that it is written over. Numbers are
/// plain decimal whatever the process's locale.
namespace vantrel_can_bridge::business_layer::bottom_compat {

/// A piece of text that shows bytes as "[0x01 0xab]", or "[]".
struct HexBytes {
  const std::vector<std::uint8_t>& bytes;
};

namespace text_piece {

/// A number, formatted once into a buffer of its own.
class Decimal {
 public:
  template <typename Integer>
  explicit Decimal(Integer value) noexcept {
    static_assert(std::numeric_limits<Integer>::digits10 + 1 + std::is_signed_v<Integer> <=
                  kCapacity);
    const auto result = std::to_chars(digits_.data(), digits_.data() + kCapacity, value);
    size_ = static_cast<std::size_t>(result.ptr - digits_.data());
  }
  [[nodiscard]] std::size_t size() const noexcept { return size_; }
  char* write_to(char* out) const noexcept { return std::copy_n(digits_.data(), size_, out); }

 private:
  static constexpr int kCapacity = 20;  // a sign and 19 digits, or the 20 digits of 2^64 - 1
  std::array<char, kCapacity> digits_{};
  std::size_t size_ = 0;
};

class Chars {
 public:
  explicit Chars(std::string_view chars) noexcept : chars_(chars) {}
  [[nodiscard]] std::size_t size() const noexcept { return chars_.size(); }
  char* write_to(char* out) const noexcept { return std::copy(chars_.begin(), chars_.end(), out); }

 private:
  std::string_view chars_;
};

class Hex {
 public:
  explicit Hex(const std::vector<std::uint8_t>& bytes) noexcept : bytes_(bytes) {}
  [[nodiscard]] std::size_t size() const noexcept {
    return bytes_.empty() ? 2 : bytes_.size() * 5 + 1;  // "0x00" and a blank or bracket each
  }
  char* write_to(char* out) const noexcept {
    constexpr std::string_view kDigits = "0123456789abcdef";
    char before = '[';
    for (const std::uint8_t byte : bytes_) {
      const std::array item{before, '0', 'x', kDigits[byte / 16U], kDigits[byte % 16U]};
      out = std::copy(item.begin(), item.end(), out);
      before = ' ';
    }
    if (bytes_.empty()) {
      *out++ = '[';
    }
    *out++ = ']';
    return out;
  }

 private:
  const std::vector<std::uint8_t>& bytes_;
};

inline Chars of(std::string_view chars) noexcept { return Chars(chars); }
inline Hex of(HexBytes hex) noexcept { return Hex(hex.bytes); }

template <typename Value, std::enable_if_t<std::is_integral_v<Value>, int> = 0>
auto of(Value value) noexcept {
  static_assert(!std::is_same_v<Value, char>, "a character is not a number");
  if constexpr (std::is_same_v<Value, bool>) {
    return Chars(value ? "true" : "false");
  } else {
    return Decimal(value);
  }
}

template <typename... Pieces>
void write(char* out, const Pieces&... pieces) {
  ((out = pieces.write_to(out)), ...);
}

template <typename... Pieces>
std::string join(const Pieces&... pieces) {
  std::string out((pieces.size() + ...), '\0');
  write(out.data(), pieces...);
  return out;
}

template <typename... Pieces>
void join_over(std::string& out, const Pieces&... pieces) {
  out.resize((pieces.size() + ...));
  write(out.data(), pieces...);
}

}  // namespace text_piece

/// The pieces one after the other: strings as they are, integers in decimal, bools as
/// "true" or "false", `HexBytes` in hexadecimal.
template <typename... Values>
std::string text(const Values&... values) {
  return text_piece::join(text_piece::of(values)...);
}

/// The same in the memory of a text that is done with; `out` is none of the pieces.
template <typename... Values>
void rewrite(std::string& out, const Values&... values) {
  text_piece::join_over(out, text_piece::of(values)...);
}

}  // namespace vantrel_can_bridge::business_layer::bottom_compat
