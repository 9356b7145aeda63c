// Status codes of the library and the error that carries them.

export const STATUS = Object.freeze({
  SOFTCC_OK: 6,
  SOFTCC_ERR_UNSUPPORTED: 9,
  SOFTCC_ERR_FORMAT: 11,
  SOFTCC_ERR_NULL_POINTER: 38,
  SOFTCC_ERR_NO_MEMORY: 40,
  // Not the library's: what the library is told when a JavaScript callback throws.
  CALLBACK_THREW: 0xffffffff,
});

const NAMES = new Map(Object.entries(STATUS).map(([name, value]) => [value, name]));

// The name of a status, or "status N" for a value a callback made up.
export function statusName(status) {
  return NAMES.get(status) ?? `status ${status}`;
}

// A call of the library that did not return SOFTCC_OK.  `code` is the
// status name, `status` its number, `call` the library function.
export class SoftCCError extends Error {
  constructor(call, status) {
    super(`${call} failed: ${statusName(status)}`);
    this.name = 'SoftCCError';
    this.code = statusName(status);
    this.status = status;
    this.call = call;
  }
}
