// Files of the frame that is shown, made in the page where the server cannot know which one it is:
// a recording is played for each viewer alone.

import { celsiusOf } from './temperature.js';

export function savePicture(canvas, name) {
  canvas.toBlob((blob) => blob && save(blob, `${name}.png`), 'image/png');
}

export function saveTable(frame, name) {
  const lines = [];
  for (let row = 0; row < frame.height; ++row) {
    const line = frame.samples.subarray(row * frame.width, (row + 1) * frame.width);
    lines.push(Array.from(line, (sample) => celsiusOf(sample, frame.resolution).toFixed(2)).join(','));
  }
  save(new Blob([`${lines.join('\n')}\n`], { type: 'text/csv' }), `${name}.csv`);
}

export async function saveSixteenBits(frame, name) {
  save(await sixteenBitPng(frame), `${name}-16.png`);
}

const kPngSignature = [0x89, 0x50, 0x4e, 0x47, 0x0d, 0x0a, 0x1a, 0x0a];

async function sixteenBitPng({ width, height, samples, resolution }) {
  const lines = new Uint8Array(height * (1 + width * 2));  // each line begins with its filter, none
  let at = 0;
  for (let i = 0; i < samples.length; ++i) {
    if (i % width === 0) ++at;
    lines[at++] = samples[i] >> 8;
    lines[at++] = samples[i] & 0xff;
  }
  const deflated = new Blob([lines]).stream().pipeThrough(new CompressionStream('deflate'));
  const header = new Uint8Array(13);
  const view = new DataView(header.buffer);
  view.setUint32(0, width);
  view.setUint32(4, height);
  header[8] = 16;  // bits per sample; the rest 0: grey, not interlaced
  return new Blob([
    new Uint8Array(kPngSignature), chunk('IHDR', header),
    chunk('tEXt', new TextEncoder().encode(`Unit\0${1 / resolution} K`)),
    chunk('IDAT', new Uint8Array(await new Response(deflated).arrayBuffer())), chunk('IEND', new Uint8Array(0)),
  ], { type: 'image/png' });
}

function chunk(type, data) {
  const bytes = new Uint8Array(12 + data.length);
  const view = new DataView(bytes.buffer);
  view.setUint32(0, data.length);
  bytes.set(new TextEncoder().encode(type), 4);
  bytes.set(data, 8);
  view.setUint32(8 + data.length, crc32(bytes.subarray(4, 8 + data.length)));
  return bytes;
}

function crc32(bytes) {
  let crc = 0xffffffff;
  for (const byte of bytes) {
    crc ^= byte;
    for (let bit = 0; bit < 8; ++bit) crc = crc & 1 ? crc >>> 1 ^ 0xedb88320 : crc >>> 1;
  }
  return ~crc >>> 0;
}

function save(blob, name) {
  const link = document.createElement('a');
  link.href = URL.createObjectURL(blob);
  link.download = name;
  link.click();
  setTimeout(() => URL.revokeObjectURL(link.href), 10000);
}
