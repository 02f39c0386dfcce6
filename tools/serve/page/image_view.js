// The large picture: the painted frame turned and enlarged, the marks over it, and the pointer.

import { fitCanvas, kCanvasFont } from './canvas.js';
import { areaAt, areaBetween, fitArea, isSideways, measure, turned, turnedBack } from './measuring.js';
import { colourOfSpot } from './spot_colours.js';
import { temperatureText } from './temperature.js';

const kDragPx = 6;  // less is a click
const kReachPx = { mouse: 8, pen: 12, touch: 20 };

export class ImageView {
  // handlers: pointer(place or null), add(area), move(index, area, isDone), cancel(), select(index).
  constructor(frameElement, picture, overlay, handlers) {
    this.frameElement = frameElement;
    this.picture = picture;
    this.overlay = overlay;
    this.handlers = handlers;
    this.turns = 0;
    this.width = 4;
    this.height = 3;
    this.drag = null;
    this.pointerPlace = null;
    picture.addEventListener('pointerdown', (event) => this.press(event));
    picture.addEventListener('pointermove', (event) => this.pointAt(event));
    picture.addEventListener('pointerup', (event) => this.lift(event));
    picture.addEventListener('pointercancel', () => this.cancel());
    picture.addEventListener('pointerleave', (event) => {
      // A finger has left when it lifts; what it touched stays readable.
      if (event.pointerType === 'mouse') this.setPointer(null);
    });
  }

  setShape(width, height, turns) {
    if (width === this.width && height === this.height && turns === this.turns && this.isShaped) return;
    Object.assign(this, { width, height, turns, isShaped: true });
    const [w, h] = isSideways(turns) ? [height, width] : [width, height];
    this.frameElement.style.aspectRatio = `${w} / ${h}`;
    this.frameElement.parentElement.style.setProperty('--aspect', String(w / h));
    this.setPointer(null);
  }

  // Fractional pixel of the camera under a pointer event.
  placeOf(event) {
    const box = this.picture.getBoundingClientRect();
    const { x, y } = turnedBack({
      x: (event.clientX - box.left) / box.width, y: (event.clientY - box.top) / box.height,
    }, this.turns);
    return { x: x * this.width, y: y * this.height };
  }

  pixelOf(event) {
    const { x, y } = this.placeOf(event);
    return {
      x: Math.max(0, Math.min(Math.floor(x), this.width - 1)),
      y: Math.max(0, Math.min(Math.floor(y), this.height - 1)),
    };
  }

  // Ends a drag as if it had not been.
  cancel() {
    if (this.drag) this.handlers.cancel();
    this.drag = null;
  }

  setPointer(place) {
    this.pointerPlace = place;
    this.handlers.pointer(place);
  }

  press(event) {
    if (event.button !== 0) return;
    try {
      this.picture.setPointerCapture(event.pointerId);
    } catch {
      // A pointer that is gone already cannot be held.
    }
    const pixel = this.pixelOf(event);
    this.setPointer(pixel);
    const box = this.picture.getBoundingClientRect();
    const shownWidth = isSideways(this.turns) ? this.height : this.width;
    const reach = (kReachPx[event.pointerType] ?? 8) * shownWidth / box.width;
    const taken = areaAt(this.spots ?? [], this.placeOf(event), reach);
    this.drag = {
      from: pixel, fromX: event.clientX, fromY: event.clientY, hasMoved: false, taken,
      area: taken < 0 ? null : this.spots[taken],
    };
  }

  pointAt(event) {
    const pixel = this.pixelOf(event);
    this.setPointer(pixel);
    const { drag } = this;
    if (!drag) return;
    drag.hasMoved ||= Math.hypot(event.clientX - drag.fromX, event.clientY - drag.fromY) >= kDragPx;
    if (!drag.hasMoved) return;
    if (drag.taken < 0) {
      drag.area = areaBetween(drag.from, pixel);
    } else {
      this.handlers.move(drag.taken, this.movedArea(pixel), false);
    }
  }

  movedArea(pixel) {
    const { area, from } = this.drag;
    return fitArea({ ...area, x: area.x + pixel.x - from.x, y: area.y + pixel.y - from.y }, this.width, this.height);
  }

  lift(event) {
    const { drag } = this;
    if (!drag) return;
    const pixel = this.pixelOf(event);
    if (drag.taken >= 0) {
      if (drag.hasMoved) this.handlers.move(drag.taken, this.movedArea(pixel), true);
      this.handlers.select(drag.taken);
    } else {
      this.handlers.add(drag.hasMoved ? areaBetween(drag.from, pixel) : { ...pixel, width: 1, height: 1 });
    }
    this.drag = null;
  }

  show(painted, isSmooth) {
    const fitted = fitCanvas(this.picture);
    if (!fitted) return;
    const { context, width, height } = fitted;
    context.save();
    context.imageSmoothingEnabled = isSmooth;
    context.imageSmoothingQuality = 'high';
    context.translate(width / 2, height / 2);
    context.rotate(this.turns * Math.PI / 2);
    const [w, h] = isSideways(this.turns) ? [height, width] : [width, height];
    context.drawImage(painted, -w / 2, -h / 2, w, h);
    context.restore();
  }

  clear() {
    const fitted = fitCanvas(this.picture);
    fitted?.context.clearRect(0, 0, fitted.width, fitted.height);
    const marks = fitCanvas(this.overlay);
    marks?.context.clearRect(0, 0, marks.width, marks.height);
  }

  // marks: {spots, selected, alarmed (set of indices), showExtremes, unit}
  showMarks(frame, marks) {
    this.spots = marks.spots;
    const fitted = fitCanvas(this.overlay);
    if (!fitted) return;
    const { context, width, height } = fitted;
    context.clearRect(0, 0, width, height);
    const on = (x, y) => {
      const place = turned({ x: x / this.width, y: y / this.height }, this.turns);
      return { x: place.x * width, y: place.y * height };
    };
    context.font = `600 12px ${kCanvasFont}`;
    context.lineJoin = 'round';
    // Under the spots, whose names would be hidden where one is on the hottest pixel.
    if (marks.showExtremes && frame?.extremes) {
      const place = (index) => on(index % frame.width + 0.5, Math.floor(index / frame.width) + 0.5);
      markTriangle(context, place(frame.extremes.maxAt), '#ff4d3d', 1);
      markTriangle(context, place(frame.extremes.minAt), '#49b6ff', -1);
    }
    marks.spots.forEach((spot, i) => {
      const isSpot = spot.width * spot.height === 1;
      const text = `${spot.name}  ${frame ? temperatureText(measure(frame, spot)[isSpot ? 'mean' : 'max'], marks.unit) : '–'}`;
      this.markArea(context, on, spot, colourOfSpot(i), text, {
        isSelected: i === marks.selected, isAlarmed: marks.alarmed.has(i), width, height,
      });
    });
    if (this.drag?.hasMoved && this.drag.taken < 0) {
      this.markArea(context, on, this.drag.area, '#ffffff', '', { width, height });
    }
  }

  markArea(context, on, area, colour, text, { isSelected, isAlarmed, width, height }) {
    const a = on(area.x, area.y);
    const b = on(area.x + area.width, area.y + area.height);
    const left = Math.min(a.x, b.x);
    const top = Math.min(a.y, b.y);
    const w = Math.abs(a.x - b.x);
    const h = Math.abs(a.y - b.y);
    const isSpot = area.width * area.height === 1;
    const line = isAlarmed ? '#ff2d20' : colour;
    const path = new Path2D();
    if (isSpot) {
      const x = left + w / 2;
      const y = top + h / 2;
      for (const [dx, dy] of [[1, 0], [-1, 0], [0, 1], [0, -1]]) {
        path.moveTo(x + dx * 3.5, y + dy * 3.5);
        path.lineTo(x + dx * 10, y + dy * 10);
      }
      if (isSelected) {
        path.moveTo(x + 13, y);
        path.arc(x, y, 13, 0, 7);
      }
    } else {
      path.rect(left, top, w, h);
    }
    context.strokeStyle = 'rgba(0,0,0,.75)';
    context.lineWidth = isSelected || isAlarmed ? 5 : 3.5;
    context.stroke(path);
    context.strokeStyle = line;
    context.lineWidth = isSelected || isAlarmed ? 2.5 : 1.5;
    context.stroke(path);
    if (!text) return;
    const textWidth = context.measureText(text).width + 10;
    let x = isSpot ? left + w / 2 + 12 : left;
    let y = isSpot ? top + h / 2 - 9 : top - 20;
    if (x + textWidth > width) x = isSpot ? left + w / 2 - 12 - textWidth : width - textWidth;
    x = Math.max(0, x);
    y = Math.max(0, Math.min(y, height - 18));
    context.fillStyle = isAlarmed ? 'rgba(170,16,8,.92)' : 'rgba(10,12,15,.72)';
    context.beginPath();
    context.roundRect(x, y, textWidth, 18, 3);
    context.fill();
    context.fillStyle = isAlarmed ? '#fff' : colour;
    context.fillRect(x, y + 3, 2, 12);
    context.fillStyle = '#fff';
    context.textBaseline = 'middle';
    context.fillText(text, x + 6, y + 9.5);
  }
}

// Its tip is on the pixel; up for the hottest, down for the coldest.
function markTriangle(context, { x, y }, colour, direction) {
  context.beginPath();
  context.moveTo(x, y);
  context.lineTo(x - 5.5, y + 10 * direction);
  context.lineTo(x + 5.5, y + 10 * direction);
  context.closePath();
  context.strokeStyle = 'rgba(0,0,0,.8)';
  context.lineWidth = 3;
  context.stroke();
  context.fillStyle = colour;
  context.fill();
}
