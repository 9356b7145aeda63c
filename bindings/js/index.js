// libvqsoftcc for JavaScript: the closed-caption decoder compiled to
// WebAssembly, for Node and browsers.  See README.md.
export { loadSoftCC, SoftCC } from './src/softcc.js';
export { Decoder } from './src/decoder.js';
export { CcDataSplitter } from './src/ccdata.js';
export { SoftCCError, STATUS, statusName } from './src/errors.js';
export { loadCaptionReader, CaptionReader, CaptionFile } from './src/reader.js';
