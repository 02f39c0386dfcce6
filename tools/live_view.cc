#include "tools/live_view.h"

#include <optional>

#include "tools/half_blocks.h"
#include "tools/measurement.h"
#include "tools/parsed_option.h"
#include "tools/png_file.h"
#include "tools/quantity.h"
#include "tools/terminal_window.h"

namespace {

// Nothing for a frame that has no temperatures.
std::optional<zocam::TemperatureImage> DecodedImage(const zocam::Frame& frame) {
  try {
    return frame.Temperatures();
  } catch (const zocam::Error& error) {
    if (error.Status() != ZO_STATUS_INVALID_STATE) throw;
    return std::nullopt;
  }
}

std::string WhyNotDecoded(const zocam::Frame& frame) {
  return frame.Check() == ZO_STATUS_OK
             ? "waiting for the camera's first flat-field correction"
             : "the frames are not those of this model (another telemetry revision)";
}

std::string AsLines(const std::vector<std::string>& rows) {
  std::string text;
  for (const std::string& row : rows) text += row + "\n";
  return text;
}

}  // namespace

void ViewOptions::AddTo(CLI::App& command) {
  picture.AddTo(command);
  decoding.AddTo(command);
  AddCountOption(command, "--frames", frames, "end after so many frames");
}

LiveView::LiveView(zocam::Device& device, ViewOptions& options, std::string keys)
    : device_(device),
      options_(options),
      title_(device.Label() + "  " + SourceText(device) +
             (screen_.HasKeys() ? "   " + std::move(keys) : "")) {}

bool LiveView::IsQuit(const std::string& key) { return key == "q" || key == "Q" || key == "\x03"; }

void LiveView::ShowFrame(const zocam::Frame& frame, const std::string& before,
                         const std::string& after) {
  options_.decoding.FollowResolution(device_, frame);
  const std::optional<zocam::TemperatureImage> image = DecodedImage(frame);
  if (!image) return ShowNotice((IsTerminal() ? before : "") + WhyNotDecoded(frame));
  options_.picture.ApplyRange(device_);
  picture_ = RenderPicture(frame, options_.picture);
  const Quantity quantity = QuantityOf(device_);
  const int decimals = quantity == Quantity::kDifference ? 2 : 1;
  Show(before + SummaryText(Summarise(*image, quantity, device_), quantity, decimals) + after);
}

void LiveView::ShowNotice(const std::string& text) {
  if (IsTerminal() || text != notice_) Show(text);
  notice_ = text;
}

void LiveView::FollowWindow() {
  if (!IsTerminal()) return;
  const CellSize window = screen_.Size();
  if (window != window_) Show(status_);
}

void LiveView::Show(const std::string& status) {
  status_ = status;
  const CellSize window = screen_.Size();
  const uint32_t textRows = window.rows > 4 ? 2 : 1;
  std::vector<std::string> rows;
  if (picture_.width != 0 && window.rows > textRows) {
    rows = HalfBlockRows(picture_, FitCells(picture_.width, picture_.height,
                                            {window.columns, window.rows - textRows}));
  }
  const uint32_t columns = IsTerminal() ? window.columns : UINT32_MAX;
  rows.push_back(CutToColumns(status, columns));
  if (textRows == 2) rows.push_back(CutToColumns(title_, columns));
  screen_.Write(screen_.IsTerminal() ? AsScreen(rows, window) : AsLines(rows));
  window_ = window;
}

// In one go over what was there before, so that nothing flickers.
std::string LiveView::AsScreen(const std::vector<std::string>& rows, CellSize window) const {
  std::string text = window != window_ ? "\x1b[?2026h\x1b[2J\x1b[H" : "\x1b[?2026h\x1b[H";
  for (size_t i = 0; i < rows.size(); ++i) {
    text += rows[i] + "\x1b[K";
    if (i + 1 < rows.size()) text += "\r\n";
  }
  return text + "\x1b[J\x1b[?2026l";
}
