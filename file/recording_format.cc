#include "file/recording_format.h"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstring>

namespace {

constexpr std::string_view kMagic = "YUV4MPEG2";
constexpr std::size_t kShortestLine = 60;
constexpr uint32_t kLastVersionWithoutIdentity = 0x00010901;
constexpr std::size_t kMaxDecimalDigits = 9;
constexpr std::size_t kMaxHexDigits = 8;
constexpr std::size_t kMaxSerialDigits = 16;

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool IsTerminator(char c) { return c == ' ' || c == '\n' || c == ':'; }

// Reads a header line item by item. The first item that is not well-formed makes everything fail.
class HeaderReader {
 public:
  explicit HeaderReader(std::string_view text) : text_(text) {}

  bool ok() const { return ok_; }
  void Reject() { Fail(); }

  // The letter of the next item.
  char NextLetter() {
    const std::size_t at = text_.find_first_not_of(" \n");
    if (at == std::string_view::npos) return Fail();
    text_.remove_prefix(at);
    return TakeLetter();
  }
  bool Expect(char letter) { return NextLetter() == letter || Fail(); }

  // The letter right here, if it is this one.
  bool TakeIf(char letter) {
    if (!ok_ || text_.empty() || text_.front() != letter) return false;
    text_.remove_prefix(1);
    return true;
  }

  void SkipPast(char letter) {
    const std::size_t at = text_.find(letter);
    if (at == std::string_view::npos) {
      Fail();
      return;
    }
    text_.remove_prefix(at + 1);
  }

  uint32_t Decimal() {
    const std::string_view digits = Value(kMaxDecimalDigits);
    uint32_t value = 0;
    for (const char c : digits) {
      if (c < '0' || c > '9') return static_cast<uint32_t>(Fail());
      value = value * 10 + static_cast<uint32_t>(c - '0');
    }
    return value;
  }

  uint64_t Hex(std::size_t mostDigits) {
    uint64_t value = 0;
    for (const char c : Value(mostDigits)) {
      const int digit = HexDigit(c);
      if (digit < 0) return static_cast<uint64_t>(Fail());
      value = value << 4 | static_cast<uint64_t>(digit);
    }
    return value;
  }

  // Fills the beginning of bytes.
  void HexBytes(std::span<uint8_t> bytes) {
    const std::string_view digits = Value(bytes.size() * 2);
    if (digits.size() % 2 != 0) Fail();
    for (std::size_t i = 0; ok_ && i < digits.size(); i += 2) {
      const int high = HexDigit(digits[i]);
      const int low = HexDigit(digits[i + 1]);
      if (high < 0 || low < 0) {
        Fail();
      } else {
        bytes[i / 2] = static_cast<uint8_t>(high << 4 | low);
      }
    }
  }

 private:
  char Fail() {
    ok_ = false;
    text_ = {};
    return 0;
  }

  char TakeLetter() {
    const char letter = text_.front();
    text_.remove_prefix(1);
    return letter;
  }

  // Takes a value with its terminator.
  std::string_view Value(std::size_t most) {
    std::size_t length = 0;
    while (length < text_.size() && !IsTerminator(text_[length])) ++length;
    const std::string_view value = text_.substr(0, length);
    text_.remove_prefix(std::min(length + 1, text_.size()));
    if (length <= most) return value;
    Fail();
    return {};
  }

  std::string_view text_;
  bool ok_ = true;
};

void ReadProduct(HeaderReader& reader, RecordingHeader& header) {
  const uint64_t ids = reader.Hex(kMaxHexDigits);
  header.identity.vendorId = static_cast<uint16_t>(ids >> 16);
  header.identity.productId = static_cast<uint16_t>(ids & 0xFFFF);
}

void ReadIdentity(HeaderReader& reader, RecordingHeader& header) {
  std::array<uint8_t, sizeof(IdentityBlock)> bytes{};
  reader.HexBytes(bytes);
  header.identity = std::bit_cast<IdentityBlock>(bytes);
  std::memcpy(&header.serialNumber, header.identity.serialWords, sizeof header.serialNumber);
  if (reader.TakeIf('E')) reader.HexBytes(header.extInfo);
}

void ReadCamera(HeaderReader& reader, uint64_t version, RecordingHeader& header) {
  const char letter = reader.NextLetter();
  if (letter == 'D') {
    ReadProduct(reader, header);
    if (version <= kLastVersionWithoutIdentity) return;
    if (reader.Expect('S')) header.serialNumber = reader.Hex(kMaxSerialDigits);
  } else if (letter == 'N' && version > kLastVersionWithoutIdentity) {
    ReadIdentity(reader, header);
  } else {
    reader.Reject();
  }
}

void AppendHex(std::string& text, std::span<const uint8_t> bytes) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  for (const uint8_t byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0xF];
  }
}

}  // namespace

std::string FormatHeader(const RecordingHeader& header, uint32_t version) {
  char size[32];
  char rate[32];
  char start[128];
  std::snprintf(size, sizeof size, "W%u H%u", header.width, header.lines);
  std::snprintf(rate, sizeof rate, "%u:%u", header.rateNumerator, header.rateDenominator);
  std::snprintf(start, sizeof start, "YUV4MPEG2 %-9s F%-11s Ip A0:0 C422 X V%08X N", size, rate,
                version);
  std::string line = start;
  AppendHex(line, std::bit_cast<std::array<uint8_t, sizeof(IdentityBlock)>>(header.identity));
  line += " E";
  AppendHex(line, header.extInfo);
  line += '\n';
  return line;
}

std::optional<RecordingHeader> ParseHeader(std::string_view line) {
  line = line.substr(0, line.find('\0'));
  if (line.size() < kShortestLine || !line.starts_with(kMagic)) return std::nullopt;
  HeaderReader reader(line.substr(kMagic.size()));
  RecordingHeader header;
  if (reader.Expect('W')) header.width = reader.Decimal();
  if (reader.Expect('H')) header.lines = reader.Decimal();
  if (reader.Expect('F')) header.rateNumerator = reader.Decimal();
  header.rateDenominator = reader.Decimal();
  reader.SkipPast('X');
  if (!reader.Expect('V')) return std::nullopt;
  ReadCamera(reader, reader.Hex(kMaxHexDigits), header);
  return reader.ok() ? std::optional(header) : std::nullopt;
}

bool IsMarker(std::span<const uint8_t, kMarkerBytes> bytes) {
  return std::memcmp(bytes.data(), kMarker, kMarkerBytes - 1) == 0;
}

void PackTrailer(const FrameTrailer& trailer, std::span<uint8_t, kTrailerBytes> bytes) {
  static_assert(std::endian::native == std::endian::little);
  std::memcpy(&bytes[0], &trailer.timeOffset, 8);
  std::memcpy(&bytes[8], &trailer.frameNumber, 4);
  std::memcpy(&bytes[12], &trailer.dateTime, sizeof(DateTime16));
}

FrameTrailer UnpackTrailer(std::span<const uint8_t, kTrailerBytes> bytes) {
  FrameTrailer trailer{};
  std::memcpy(&trailer.timeOffset, &bytes[0], 8);
  std::memcpy(&trailer.frameNumber, &bytes[8], 4);
  std::memcpy(&trailer.dateTime, &bytes[12], sizeof(DateTime16));
  return trailer;
}
