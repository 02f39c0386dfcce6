// file/: recordings. A recording is a YUV4MPEG2 stream: one header line, then records of one size,
// each a marker, a raw frame and a trailer line with the frame's time and number. This folder
// writes it (writer.cc), opens it into a handle (reader.cc), plays it on a thread of its own
// (playback.cc), seeks in it (seek.cc), scans it for a steady gain (scan.cc, time_based_gain.cc)
// and dumps single frames (frame_dump.cc). Not here: what a frame means (decode/).
//
// Threads: one playback thread per started recording that is not passive. fileLock guards the
// stream, its position and the state of playback; the frame callback runs without it, the
// end-of-file callback with it.
//
// This file: the format, as pure functions over text and bytes. Integers are little-endian.
#ifndef ZOCAM_FILE_RECORDING_FORMAT_H
#define ZOCAM_FILE_RECORDING_FORMAT_H

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "core/device_record.h"

// A header line has at most this many characters, line end included.
inline constexpr std::size_t kHeaderLineMax = 1022;
// A decimal number in it has at most nine digits.
inline constexpr uint32_t kMostInHeader = 999'999'999;
inline constexpr std::size_t kMarkerBytes = 6;
inline constexpr std::size_t kTrailerBytes = 28;  // of a trailer line that mean something
inline constexpr char kMarker[kMarkerBytes + 1] = "FRAME\n";

// What a header line says.
struct RecordingHeader {
  uint32_t width = 0;
  uint32_t lines = 0;  // image, footer and one trailer line
  uint32_t rateNumerator = 0;
  uint32_t rateDenominator = 0;
  IdentityBlock identity{};
  uint64_t serialNumber = 0;
  std::array<uint8_t, kExtInfoBytes> extInfo{};
};

// The header line of a recording, line end included.
std::string FormatHeader(const RecordingHeader& header, uint32_t version);

// Reads a header line; none when it is not well-formed.
std::optional<RecordingHeader> ParseHeader(std::string_view line);

// Whether a record's marker is one; its last byte is not looked at.
bool IsMarker(std::span<const uint8_t, kMarkerBytes> bytes);

void PackTrailer(const FrameTrailer& trailer, std::span<uint8_t, kTrailerBytes> bytes);
FrameTrailer UnpackTrailer(std::span<const uint8_t, kTrailerBytes> bytes);

// Sizes of the records of a handle's model, in bytes.
struct RecordLayout {
  int64_t frame;
  int64_t trailer;  // where it begins in the record
  int64_t trailerLine;
  int64_t record;

  explicit RecordLayout(const _ZoDev& dev)
      : frame(dev.rawFrameBytes),
        trailer(static_cast<int64_t>(kMarkerBytes) + frame),
        trailerLine(int64_t{2} * dev.frameWidth),
        record(trailer + trailerLine) {}
};

#endif
