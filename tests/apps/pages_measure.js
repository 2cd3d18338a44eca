// Measures pages in frames. The document around them has a frame for each page and width, with the page as its
// srcdoc. When all are loaded, writes a line for each into <pre id="measured">:
//
//   page <name> <width> plots <drawn> <fault>; <fault>; ...
'use strict';

const kSlack = 1.5;          // pixels by which boxes may be off, as the browser rounds them
const kSmallestText = 9;     // pixels, as it comes out on the screen

const boxOf = (element) => element.getBoundingClientRect();
const hasArea = (box) => box.width > 0 || box.height > 0;

function overlap(a, b) {
  return Math.min(a.right, b.right) - Math.max(a.left, b.left) > kSlack &&
         Math.min(a.bottom, b.bottom) - Math.max(a.top, b.top) > 2 * kSlack;
}

function isDrawn(svg) {
  const shapes = [...svg.querySelectorAll('path,circle,rect,line,polyline,polygon')];
  return shapes.some((shape) => !shape.matches('.grid,.axis,.limit,.band') && hasArea(boxOf(shape)));
}

function faultsOfTexts(svg) {
  const frame = boxOf(svg), faults = [];
  const texts = [...svg.querySelectorAll('text')].filter((text) => hasArea(boxOf(text)));
  const scale = frame.width / svg.viewBox.baseVal.width;
  for (const [i, text] of texts.entries()) {
    const box = boxOf(text), words = text.textContent;
    if (box.left < frame.left - kSlack || box.right > frame.right + kSlack ||
        box.top < frame.top - kSlack || box.bottom > frame.bottom + kSlack)
      faults.push(`clipped "${words}"`);
    const size = scale * parseFloat(svg.ownerDocument.defaultView.getComputedStyle(text).fontSize);
    if (size < kSmallestText) faults.push(`small "${words}"`);
    for (const other of texts.slice(i + 1))
      if (overlap(box, boxOf(other))) faults.push(`overlap "${words}" "${other.textContent}"`);
  }
  return faults;
}

function measure(frame) {
  const page = frame.contentDocument;
  const plots = [...page.querySelectorAll('svg[role=img]')].filter((svg) => hasArea(boxOf(svg)));
  const faults = plots.flatMap(faultsOfTexts);
  for (const svg of plots) {
    if (!isDrawn(svg)) faults.push('empty plot');
    if (!svg.querySelector('title') || !svg.querySelector('desc')) faults.push('plot without a description');
  }
  const wide = page.documentElement.scrollWidth;
  if (wide > frame.width) faults.push(`page ${wide} wide`);
  return `page ${frame.name} ${frame.width} plots ${plots.filter(isDrawn).length} ${faults.join('; ')}`;
}

window.addEventListener('load', () => {
  const lines = [...document.querySelectorAll('iframe')].map(measure);
  document.getElementById('measured').textContent = lines.join('\n') + '\n';
});
