// Canvases whose own pixels are the screen's.

// Sizes the canvas to its place on the page; null while it has none.
export function fitCanvas(canvas) {
  const scale = window.devicePixelRatio || 1;
  const width = canvas.clientWidth;
  const height = canvas.clientHeight;
  if (!width || !height) return null;
  const w = Math.round(width * scale);
  const h = Math.round(height * scale);
  if (canvas.width !== w || canvas.height !== h) {
    canvas.width = w;
    canvas.height = h;
  }
  const context = canvas.getContext('2d');
  context.setTransform(w / width, 0, 0, h / height, 0, 0);
  return { context, width, height };
}

export const kCanvasFont = 'ui-sans-serif, system-ui, "Segoe UI", Roboto, "DejaVu Sans", sans-serif';

export const styleOf = (name) => getComputedStyle(document.documentElement).getPropertyValue(name).trim();
