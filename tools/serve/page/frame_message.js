// The binary message of one frame.

const kMagic = 0x46434f5a;  // "ZOCF"
const kVersion = 1;
const kLeastHeader = 48;

// Null for a message that is none, or whose sizes do not fit.
export function parseFrame(buffer) {
  if (buffer.byteLength < kLeastHeader) return null;
  const view = new DataView(buffer);
  const header = view.getUint16(6, true);
  if (view.getUint32(0, true) !== kMagic || view.getUint16(4, true) !== kVersion) return null;
  if (header < kLeastHeader || header % 2 !== 0) return null;
  const width = view.getUint16(12, true);
  const height = view.getUint16(14, true);
  const resolution = view.getUint32(16, true);
  if (!width || !height || !resolution || buffer.byteLength < header + width * height * 2) return null;
  return {
    number: view.getUint32(8, true), width, height, resolution,
    dropped: view.getUint32(20, true),
    time: view.getFloat64(24, true),
    cameraTime: view.getFloat64(32, true),
    droppedByViewer: view.getUint32(40, true),
    // Every machine that browsers run on is little-endian, as the message is.
    samples: new Uint16Array(buffer, header, width * height),
  };
}
