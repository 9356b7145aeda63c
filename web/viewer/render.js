// Draws the caption screen from the decoder's window records: a pure function
// from windows to DOM, so the same windows always give the same elements.
//
// Geometry: the caption area is the picture (708) or a 4:3 box centred in it
// (608); windows are placed inside its safe title area (the middle 80%) on a
// grid of 15 rows and 32 columns (4:3) or 42 columns (16:9).  Anchors in
// percent (relative positioning) or on the absolute grid of 75 rows by 160 or
// 210 columns (five grid units a cell) give the point of the window box
// that its anchor point names.  Every length is in container units of the
// caption area (cqw, cqh), so the drawing scales with the element.

const ROWS = 15;
const SAFE = 80; // percent of the caption area
const ABSOLUTE_ROWS = 75;
const GRID_UNITS_PER_CELL = 5;
const FONT_OF_ROW = 0.9; // a standard pen's font size, in rows
const MONOSPACE_ADVANCE = 0.6; // em: the advance of the monospaced fonts below

// Font families of the eight font styles; the monospaced ones fill a grid cell
// per character.
const FONTS = [
  { family: '"DejaVu Sans Mono", "Lucida Console", "Liberation Mono", monospace', mono: true },
  { family: '"Courier New", "Nimbus Mono PS", "FreeMono", "Liberation Mono", monospace', mono: true },
  { family: '"Times New Roman", "Liberation Serif", "DejaVu Serif", serif', mono: false },
  { family: '"DejaVu Sans Mono", "Lucida Console", "Liberation Mono", monospace', mono: true },
  { family: 'Arial, "Liberation Sans", "DejaVu Sans", sans-serif', mono: false },
  { family: '"Comic Sans MS", "Comic Neue", "Chalkboard", casual, sans-serif', mono: false },
  { family: '"Brush Script MT", "URW Chancery L", "Z003", cursive', mono: false },
  { family: 'Arial, "Liberation Sans", "DejaVu Sans", sans-serif', mono: false, smallCaps: true },
];
const PEN_SIZES = [0.8, 1, 1.25]; // small, standard, large
const PEN_OFFSETS = ['sub', '', 'super'];
const OPACITY = [1, 1, 0.5, 0]; // solid, flash (drawn solid, blinking), translucent, transparent
const FLASH = 1;
const JUSTIFY = ['flex-start', 'flex-end', 'center', 'space-between'];
const JUSTIFY_FULL = 3;

const NUL = 0x0000;
const TRANSPARENT_SPACE = 0xf8fe;
const NON_BREAKING_TRANSPARENT_SPACE = 0xf8fd;
const CAPTION_ICON = 0xf8ff;

// ---- Colours ------------------------------------------------------------------

// A 6-bit colour (2 bits each of red, green, blue) with an alpha.  608
// colours use only levels 0 and 2 of each component: its eight colours are
// drawn at full strength, so its white 0x2A is white.
export function colourCss(colour, alpha, format) {
  const levels = format === 608 ? [0, 128, 255, 255] : [0, 85, 170, 255];
  const r = levels[(colour >> 4) & 3];
  const g = levels[(colour >> 2) & 3];
  const b = levels[colour & 3];
  return alpha === 1 ? `rgb(${r}, ${g}, ${b})` : `rgba(${r}, ${g}, ${b}, ${alpha})`;
}

function opacityOf(value) {
  return OPACITY[value] ?? 1;
}

// Text edges as shadows in em: raised and depressed lit from the top left,
// uniform all round, drop shadows to the lower left or right.
function edgeShadow(type, colour) {
  const light = 'rgba(255, 255, 255, 0.45)';
  switch (type) {
    case 1: return `-0.03em -0.03em 0 ${light}, 0.05em 0.05em 0 ${colour}`;
    case 2: return `0.03em 0.03em 0 ${light}, -0.05em -0.05em 0 ${colour}`;
    case 3: return [[-1, -1], [0, -1], [1, -1], [-1, 0], [1, 0], [-1, 1], [0, 1], [1, 1]]
      .map(([x, y]) => `${x * 0.05}em ${y * 0.05}em 0 ${colour}`).join(', ');
    case 4: return `-0.09em 0.09em 0 ${colour}`;
    case 5: return `0.09em 0.09em 0 ${colour}`;
    default: return '';
  }
}

// ---- Geometry ------------------------------------------------------------------

export function columnsOf(aspect) {
  return aspect === '4:3' ? 32 : 42;
}

// The 608 caption area is 4:3 whatever the picture; 708 windows use the picture.
function areaAspect(format, aspect) {
  return format === 608 ? '4:3' : aspect;
}

// The anchor's position in percent of the safe title area.
export function anchorPercent(window, aspect) {
  if (window.relative_positioning) return { x: window.anchor_horizontal, y: window.anchor_vertical };
  const gridColumns = columnsOf(aspect) * GRID_UNITS_PER_CELL;
  return { x: (100 * window.anchor_horizontal) / gridColumns, y: (100 * window.anchor_vertical) / ABSOLUTE_ROWS };
}

// Which point of the box the anchor point names, as fractions of its width
// and height (0 top left .. 8 bottom right).
export function anchorFraction(anchorPoint) {
  const point = anchorPoint % 9;
  return { x: (point % 3) / 2, y: Math.floor(point / 3) / 2 };
}

function windowBox(window, aspect) {
  const at = anchorPercent(window, aspect);
  const of = anchorFraction(window.anchor_point);
  const columns = window.column_count;
  const rows = window.row_count;
  return {
    left: `calc(${at.x}% - ${of.x * columns} * var(--cc-column))`,
    top: `calc(${at.y}% - ${of.y * rows} * var(--cc-row))`,
    width: `calc(${columns} * var(--cc-column))`,
    height: `calc(${rows} * var(--cc-row))`,
  };
}

// ---- Text ------------------------------------------------------------------------

// Lines are rows when the window scrolls vertically (scroll direction 2 or
// 3), columns otherwise.
export function linesAreRows(window) {
  return window.style.scroll_direction >= 2;
}

function isGap(code) {
  return code === NUL || code === TRANSPARENT_SPACE || code === NON_BREAKING_TRANSPARENT_SPACE;
}

// The window's runs (and the run being typed) as cells of each line:
// Map line -> Map position -> { code, pen }.
export function cellsOf(window) {
  const rows = linesAreRows(window);
  const lines = new Map();
  const runs = window.current_segment ? [...window.segments, window.current_segment] : window.segments;
  for (const run of runs) {
    const line = rows ? run.row : run.column;
    const start = rows ? run.column : run.row;
    if (!lines.has(line)) lines.set(line, new Map());
    const cells = lines.get(line);
    for (let i = 0; i < run.text.length; i++) cells.set(start + i, { code: run.text.charCodeAt(i), pen: run.pen });
  }
  return lines;
}

// A line's cells as pieces in position order: { start, length, pen, text }
// for drawn characters of one pen, { start, length, gap: true } for cells
// that show the window through (never written, transparent spaces).
export function piecesOf(cells) {
  const positions = [...cells.keys()].sort((a, b) => a - b);
  const pieces = [];
  let last = null;
  for (const position of positions) {
    const { code, pen } = cells.get(position);
    const gap = isGap(code);
    const follows = last !== null && last.start + last.length === position;
    if (follows && (gap ? last.gap : !last.gap && last.pen === pen)) {
      last.length++;
      if (!gap) last.text += String.fromCharCode(code);
    } else {
      if (last !== null && !follows) pieces.push({ start: last.start + last.length, length: position - last.start - last.length, gap: true });
      last = gap ? { start: position, length: 1, gap: true } : { start: position, length: 1, pen, text: String.fromCharCode(code) };
      pieces.push(last);
    }
  }
  return pieces;
}

// Left justification keeps every cell where it was written; the others drop
// the blank cells at both ends and align the rest.
function justified(pieces, justify) {
  if (justify === 0) return pieces.length && pieces[0].start > 0 ? [{ start: 0, length: pieces[0].start, gap: true }, ...pieces] : pieces;
  let first = 0;
  let end = pieces.length;
  while (first < end && pieces[first].gap) first++;
  while (end > first && pieces[end - 1].gap) end--;
  return pieces.slice(first, end);
}

function penStyle(pen, format, vertical) {
  const font = FONTS[pen.font_style] ?? FONTS[0];
  const size = PEN_SIZES[pen.pen_size] ?? 1;
  const fg = colourCss(pen.fg_color, opacityOf(pen.fg_opacity), format);
  const style = {
    'font-family': font.family,
    'font-size': `calc(${FONT_OF_ROW * size} * var(--cc-row))`,
    color: fg,
    'background-color': colourCss(pen.bg_color, opacityOf(pen.bg_opacity), format),
  };
  if (font.mono && !vertical) style['letter-spacing'] = `calc(var(--cc-column) - ${MONOSPACE_ADVANCE}em)`;
  if (font.smallCaps) style['font-variant'] = 'small-caps';
  if (pen.italics) style['font-style'] = 'italic';
  if (pen.underline) style['text-decoration'] = 'underline';
  const shadow = edgeShadow(pen.edge_type, colourCss(pen.edge_color, opacityOf(pen.fg_opacity), format));
  if (shadow) style['text-shadow'] = shadow;
  return style;
}

function penClasses(pen) {
  const classes = ['cc-text'];
  if (pen.fg_opacity === FLASH) classes.push('cc-flash-fg');
  if (pen.bg_opacity === FLASH) classes.push('cc-flash-bg');
  const offset = PEN_OFFSETS[pen.pen_offset];
  if (offset) classes.push(`cc-${offset}`);
  return classes;
}

// ---- Elements ------------------------------------------------------------------

function element(doc, tag, className, style = {}, attributes = {}) {
  const e = doc.createElement(tag);
  e.className = className;
  for (const [name, value] of Object.entries(style)) e.style.setProperty(name, value);
  for (const [name, value] of Object.entries(attributes)) e.setAttribute(name, value);
  return e;
}

// A piece's text, with the caption icon as an element of its own.
function appendText(doc, parent, text) {
  const parts = text.split(String.fromCharCode(CAPTION_ICON));
  parts.forEach((part, i) => {
    if (i > 0) parent.appendChild(element(doc, 'span', 'cc-icon')).textContent = 'cc';
    if (part) parent.appendChild(doc.createTextNode(part));
  });
}

function pieceElement(doc, piece, format, vertical) {
  const extent = `calc(${piece.length} * var(${vertical ? '--cc-row' : '--cc-column'}))`;
  if (piece.gap) return element(doc, 'span', 'cc-gap', { [vertical ? 'height' : 'width']: extent });
  const span = element(doc, 'span', penClasses(piece.pen).join(' '), penStyle(piece.pen, format, vertical));
  span.style.setProperty(vertical ? 'min-height' : 'min-width', extent);
  // Vertical text stands upright, a character to a row.
  if (vertical) for (const ch of piece.text) appendText(doc, span.appendChild(element(doc, 'span', 'cc-cell')), ch);
  else appendText(doc, span, piece.text);
  return span;
}

function lineElement(doc, window, line, cells, format) {
  const vertical = !linesAreRows(window);
  const justify = window.style.justify;
  const at = `calc(${line} * var(${vertical ? '--cc-column' : '--cc-row'}))`;
  const div = element(doc, 'div', vertical ? 'cc-line cc-vertical' : 'cc-line', {
    [vertical ? 'left' : 'top']: at,
    'justify-content': JUSTIFY[justify] ?? JUSTIFY[0],
  }, { 'data-line': line });
  let pieces = justified(piecesOf(cells), justify);
  // Full justification spreads the words of the line across it.
  if (justify === JUSTIFY_FULL) pieces = pieces.flatMap(splitWords).filter((p) => !p.gap);
  for (const piece of pieces) div.appendChild(pieceElement(doc, piece, format, vertical));
  return div;
}

function splitWords(piece) {
  if (piece.gap) return [piece];
  return piece.text.split(/ +/).filter(Boolean).map((text) => ({ ...piece, text, length: text.length }));
}

const BORDERS = [null, 'outset', 'inset', 'solid'];

function windowStyle(window, aspect, format) {
  const { style } = window;
  const css = { ...windowBox(window, aspect), 'z-index': String(8 - (window.priority & 7)) };
  css['background-color'] = colourCss(style.fill_color, opacityOf(style.fill_opacity), format);
  const border = colourCss(style.border_color, 1, format);
  if (BORDERS[style.border_type]) css.outline = `calc(0.12 * var(--cc-row)) ${BORDERS[style.border_type]} ${border}`;
  if (style.border_type === 4) css['box-shadow'] = `calc(-0.2 * var(--cc-row)) calc(0.2 * var(--cc-row)) 0 ${border}`;
  if (style.border_type === 5) css['box-shadow'] = `calc(0.2 * var(--cc-row)) calc(0.2 * var(--cc-row)) 0 ${border}`;
  return css;
}

function windowElement(doc, window, aspect, format) {
  const classes = ['cc-window'];
  if (!window.visible) classes.push('cc-hidden');
  if (window.style.fill_opacity === FLASH) classes.push('cc-flash-fill');
  const div = element(doc, 'div', classes.join(' '), windowStyle(window, aspect, format), {
    'data-id': window.id,
    'data-anchor': `${window.anchor_point} ${window.anchor_vertical} ${window.anchor_horizontal}${window.relative_positioning ? ' relative' : ''}`,
  });
  const lines = cellsOf(window);
  for (const line of [...lines.keys()].sort((a, b) => a - b)) {
    div.appendChild(lineElement(doc, window, line, lines.get(line), format));
  }
  return div;
}

// The caption screen for `windows` (the defined windows, any order):
// options.format 608 or 708, options.aspect '16:9' or '4:3' (the picture),
// options.showHidden to draw hidden windows too (dimmed, outlined).
export function renderScreen(doc, windows, { format = 708, aspect = '16:9', showHidden = false } = {}) {
  const area = areaAspect(format, aspect);
  const screen = element(doc, 'div', 'cc-screen', { 'aspect-ratio': aspect.replace(':', ' / ') }, { 'data-aspect': aspect });
  const box = screen.appendChild(element(doc, 'div', 'cc-area', { 'aspect-ratio': area.replace(':', ' / ') }));
  const safe = box.appendChild(element(doc, 'div', 'cc-safe', {
    '--cc-row': `${SAFE / ROWS}cqh`,
    '--cc-column': `${SAFE / columnsOf(area)}cqw`,
  }));
  const shown = windows.filter((w) => w && w.defined && (w.visible || showHidden)).sort((a, b) => a.id - b.id);
  for (const window of shown) safe.appendChild(windowElement(doc, window, area, format));
  return screen;
}
