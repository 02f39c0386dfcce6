// fuzz/: programs that run parts of the library on inputs which libFuzzer invents. Each fuzzer
// defines LLVMFuzzerTestOneInput; replay.cc calls it with files that have been kept. A fuzzer stops
// at any crash, sanitizer report, hang, leak or broken promise (Expect).
//
// This file: reading an input piece by piece. An input that has come to its end goes on with zeros,
// so that every input means something.
#ifndef ZOCAM_FUZZ_INPUT_H
#define ZOCAM_FUZZ_INPUT_H

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

using Bytes = std::vector<uint8_t>;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size);

// A promise of the library.
inline void Expect(bool holds, const char* promise) {
  if (holds) return;
  std::fprintf(stderr, "broken promise: %s\n", promise);
  std::abort();
}

class Input {
 public:
  Input(const uint8_t* data, std::size_t size) : rest_(data, size) {}

  bool empty() const { return rest_.empty(); }

  template <class T>
  T Take() {
    static_assert(std::is_trivially_copyable_v<T>);
    T value{};
    const std::size_t count = std::min(sizeof value, rest_.size());
    if (count != 0) std::memcpy(&value, rest_.data(), count);
    rest_ = rest_.subspan(count);
    return value;
  }
  uint8_t Byte() { return Take<uint8_t>(); }
  uint16_t Word() { return Take<uint16_t>(); }
  bool Flag() { return (Byte() & 1) != 0; }
  // From low to high, both included.
  uint32_t Between(uint32_t low, uint32_t high) {
    return low + static_cast<uint32_t>(Take<uint32_t>() % (uint64_t{high} - low + 1));
  }
  template <class T, std::size_t count>
  T OneOf(const T (&choices)[count]) {
    return choices[Byte() % count];
  }

  // A piece of the input that tells its length.
  std::span<const uint8_t> Piece() {
    const std::size_t wanted = Word();  // before the rest is measured, which it shortens
    const std::size_t count = std::min(wanted, rest_.size());
    const auto piece = rest_.first(count);
    rest_ = rest_.subspan(count);
    return piece;
  }
  std::span<const uint8_t> Rest() { return std::exchange(rest_, {}); }

  // Text up to a zero or a line's end, which is taken, too.
  std::string Text() {
    const auto end = std::ranges::find_if(rest_, [](uint8_t c) { return c == 0 || c == '\n'; });
    const std::string text(rest_.begin(), end);
    rest_ = rest_.subspan(std::min(text.size() + 1, rest_.size()));
    return text;
  }

 private:
  std::span<const uint8_t> rest_;
};

// Unfolds runs: a run mark is followed by a count (low byte first) and the byte that is repeated.
// Recordings and correction images are long and mostly the same, inputs should be short.
inline constexpr uint8_t kRunMark = 0x1B;
inline Bytes Unfold(std::span<const uint8_t> folded, std::size_t most) {
  Bytes bytes;
  for (std::size_t i = 0; i < folded.size() && bytes.size() < most; ++i) {
    if (folded[i] != kRunMark || i + 3 >= folded.size()) {
      bytes.push_back(folded[i]);
      continue;
    }
    const std::size_t count = folded[i + 1] | std::size_t{folded[i + 2]} << 8;
    bytes.insert(bytes.end(), std::min(count, most - bytes.size()), folded[i + 3]);
    i += 3;
  }
  return bytes;
}

#endif
