#!/usr/bin/env python3
"""Writes softcc's demo inputs: demo.scc (608 pop-on, roll-up and paint-on
captions with styles) and demo.mcc (a multi-window 708 session with a Delay,
beside 608 padding).

    make_demo.py OUTPUT_DIR
    make_demo.py --streams OUTPUT_DIR

With --streams it writes the same captions as the library takes them
instead: demo.608 (the line-21 byte pairs) and demo.708 (the DTVCC
packets), for the library's own tests.

Standard library only; the output is the same on every run, so that the
expected outputs checked into the tests stay valid.
"""

import os
import sys

FPS = 30000 / 1001  # 29.97 frames per second, drop-frame timecode


# ---- timecodes ----------------------------------------------------------------

def frame_of(seconds):
    return round(seconds * FPS)


def timecode(frame, drop=True):
    """Drop-frame timecode of a frame count (frames 0 and 1 of each minute
    but every tenth are skipped)."""
    if drop:
        tens, rest = divmod(frame, 17982)
        frame += 18 * tens + (2 * ((rest - 2) // 1798) if rest >= 2 else 0)
    f = frame % 30
    s = frame // 30 % 60
    m = frame // 1800 % 60
    h = frame // 108000
    return "%02d:%02d:%02d%s%02d" % (h, m, s, ";" if drop else ":", f)


# ---- EIA-608 --------------------------------------------------------------------

def odd_parity(byte):
    """The 7-bit value with bit 7 set where needed to make the count of ones odd."""
    return byte | (0x80 if bin(byte).count("1") % 2 == 0 else 0)


def pair(b1, b2):
    return "%02x%02x" % (odd_parity(b1), odd_parity(b2))


def control(b1, b2):
    """Control codes go out twice: a receiver acts on the first copy and
    drops the repeat, so a code lost to noise still arrives once."""
    return [pair(b1, b2)] * 2


# Basic characters that differ from ASCII in the 608 set.
BASIC_608 = {"á": 0x2A, "é": 0x5C, "í": 0x5E, "ó": 0x5F, "ú": 0x60, "ç": 0x7B, "÷": 0x7C, "Ñ": 0x7D,
             "ñ": 0x7E, "■": 0x7F}
# Special characters (0x11 xx) and extended characters (0x12 xx, 0x13 xx) used by the demo.
SPECIAL_608 = {"®": 0x30, "°": 0x31, "½": 0x32, "¿": 0x33, "™": 0x34, "¢": 0x35, "£": 0x36, "♪": 0x37,
               "à": 0x38, "è": 0x3A, "â": 0x3B, "ê": 0x3C, "î": 0x3D, "ô": 0x3E, "û": 0x3F}
EXTENDED_608 = {"“": (0x12, 0x2E, '"'), "”": (0x12, 0x2F, '"'), "©": (0x12, 0x2B, "c"),
                "ß": (0x13, 0x34, "s"), "ü": (0x12, 0x25, "u"), "¡": (0x12, 0x27, "!")}

COLOURS_608 = ["white", "green", "blue", "cyan", "red", "yellow", "magenta"]
# Preamble address code first byte and row bit for each screen row 0-14.
PAC_ROWS = [(0x11, 0), (0x11, 1), (0x12, 0), (0x12, 1), (0x15, 0), (0x15, 1), (0x16, 0), (0x16, 1),
            (0x17, 0), (0x17, 1), (0x10, 0), (0x13, 0), (0x13, 1), (0x14, 0), (0x14, 1)]


def text(s):
    """Pairs for caption text; special characters go out once (they are
    characters, not commands), extended ones after their basic stand-in."""
    codes = []
    pending = []

    def flush():
        while pending:
            first = pending.pop(0)
            second = pending.pop(0) if pending else 0x00
            codes.append(pair(first, second))

    for ch in s:
        if ch in SPECIAL_608:
            flush()
            codes.append(pair(0x11, SPECIAL_608[ch]))
        elif ch in EXTENDED_608:
            b1, b2, stand_in = EXTENDED_608[ch]
            pending.append(ord(stand_in))
            flush()
            codes.append(pair(b1, b2))
        else:
            pending.append(BASIC_608.get(ch, ord(ch)))
    flush()
    return codes


def pac(row, indent=0, colour="white", italics=False, underline=False):
    b1, row_bit = PAC_ROWS[row]
    if italics:
        b2 = 0x4E
    elif indent:
        b2 = 0x50 | (indent // 4) << 1
    else:
        b2 = 0x40 | COLOURS_608.index(colour) << 1
    return control(b1, b2 | row_bit << 5 | int(underline))


def mid_row(colour="white", italics=False, underline=False):
    b2 = 0x2E if italics else 0x20 | COLOURS_608.index(colour) << 1
    return control(0x11, b2 | int(underline))


RCL, EOC, EDM, ENM = (control(0x14, c) for c in (0x20, 0x2F, 0x2C, 0x2E))
RDC, CR, RU2, RU3 = (control(0x14, c) for c in (0x29, 0x2D, 0x25, 0x26))


def scc_lines():
    """(seconds, [hex word, ...]) of each line of the demo SCC."""
    return [
        # Pop-on: built in the hidden memory, shown whole at End Of Caption.
        (0.5, RCL + ENM + pac(13, indent=4) + text("Pop-on captions appear whole") +
         pac(14, colour="yellow") + text("in yellow,") + mid_row(italics=True) + text("italics") +
         mid_row("white", underline=True) + text("underline.") + EOC),
        (4.0, RCL + ENM + pac(12, colour="cyan") + text("Special: ♪ ½ ® ¿ £") +
         pac(14, indent=8, underline=True) + text("Extended: “Groß” © ¡olé!") + EOC),
        (7.0, EDM),
        # Roll-up: two rows at the bottom, each carriage return scrolls.
        (8.0, RU2 + CR + pac(14) + text("Roll-up captions scroll")),
        (9.5, CR + pac(14) + text("one row at a time,")),
        (11.0, CR + pac(14) + text("the oldest") + mid_row("green") + text("leaves the top.")),
        (12.5, CR + pac(14) + text("Lines <never> repeat & scroll.")),
        (14.0, EDM),
        # Paint-on: each pair appears where it is written.
        (15.0, RDC + pac(5, indent=8) + text("Paint-on text")),
        (16.0, pac(6, colour="red") + text("shows as it is typed.")),
        (18.5, EDM),
    ]


def write_scc(path):
    out = ["Scenarist_SCC V1.0", ""]
    for seconds, codes in scc_lines():
        out.append(timecode(frame_of(seconds)) + "\t" + " ".join(codes))
        out.append("")
    with open(path, "w", newline="\r\n") as f:
        f.write("\n".join(out))


# ---- EIA-708 ------------------------------------------------------------------

def define_window(n, visible, anchor_point, vertical, horizontal, rows, columns, window_style=1,
                  pen_style=1, priority=0):
    """DefineWindow with relative (percentage) anchor position."""
    return [0x98 + n, int(visible) << 5 | priority, 0x80 | vertical, horizontal,
            anchor_point << 4 | (rows - 1), columns - 1, window_style << 3 | pen_style]


COLOURS_708 = {"white": 0x3F, "yellow": 0x3C, "green": 0x0C, "red": 0x30, "cyan": 0x0F, "black": 0x00}


def pen_attributes(italics=False, underline=False):
    return [0x90, 0x05, int(italics) << 7 | int(underline) << 6]  # standard size, normal offset


def pen_color(fg, bg="black"):
    return [0x91, COLOURS_708[fg], COLOURS_708[bg], 0x00]


def chars(s):
    """G0/G1 characters, with the music note and G2 ellipsis and trade mark."""
    out = []
    for ch in s:
        if ch == "♪":
            out.append(0x7F)
        elif ch == "…":
            out += [0x10, 0x25]
        elif ch == "™":
            out += [0x10, 0x39]
        else:
            out.append(ord(ch))
    return out


def bitmap(*windows):
    return sum(1 << n for n in windows)


SET_CURRENT = 0x80
CLEAR, DISPLAY, HIDE, TOGGLE, DELETE, DELAY = 0x88, 0x89, 0x8A, 0x8B, 0x8C, 0x8D
DELAY_CANCEL, SET_PEN_LOCATION, ETX, CARRIAGE_RETURN = 0x8E, 0x92, 0x03, 0x0D


def session_708():
    """(seconds, codes) of the demo's 708 service 1, each code a byte list."""
    def cr(line):
        return [[CARRIAGE_RETURN], chars(line)]

    return [
        # Window 0: three rows at the bottom centre, scrolling on CR.
        (0.5, [define_window(0, True, 7, 90, 50, 3, 32), pen_color("white"),
               chars("708 window 0 at the bottom:")]),
        (1.5, cr("each CR moves to the next row")),
        (2.5, cr("and at the last row scrolls.")),
        (3.5, cr("♪ The first line is gone… ♪")),
        # Window 1: top left, defined hidden, then shown.
        (4.5, [define_window(1, False, 0, 5, 5, 1, 26, priority=1), pen_attributes(italics=True),
               pen_color("yellow"), chars("Window 1: italic yellow"), [DISPLAY, bitmap(1)]]),
        # Window 2: centred text at the right; a toggle swaps it with window 1.
        (6.0, [define_window(2, False, 5, 50, 95, 2, 18, window_style=3), pen_attributes(underline=True),
               pen_color("green"), chars("Window 2, centred"), [CARRIAGE_RETURN], pen_color("red"),
               chars("Café™ underlined"), [ETX], [TOGGLE, bitmap(1, 2)]]),
        (8.0, [[TOGGLE, bitmap(1, 2)]]),
        # A Delay holds the codes after it back until its alarm, 2 s later.
        (9.0, [[DELAY, 20], [SET_CURRENT + 0], [CARRIAGE_RETURN], chars("Held back until the alarm")]),
        # A long Delay released early by DelayCancel.
        (12.0, [[DELAY, 100], [SET_CURRENT + 1], [CLEAR, bitmap(1)], [SET_PEN_LOCATION, 0, 0], pen_attributes(),
                pen_color("cyan"), chars("Released by DelayCancel")]),
        (13.5, [[DELAY_CANCEL]]),
        (15.5, [[HIDE, bitmap(0)]]),
        (16.5, [[DELETE, 0xFF]]),
    ]


def dtvcc_packets(session, frames):
    """Per frame, the DTVCC packet that carries that frame's codes (whole
    codes, at most one 31-byte service block of service 1 per packet)."""
    queue = []  # (earliest frame, code bytes)
    for seconds, codes in session:
        queue += [(frame_of(seconds), code) for code in codes]
    packets = {}
    sequence = 1  # a fresh decoder expects sequence number 1 first
    frame = 0
    while queue and frame < frames:
        block = []
        while queue and queue[0][0] <= frame and len(block) + len(queue[0][1]) <= 31:
            block += queue.pop(0)[1]
        if block:
            body = [0x20 | len(block)] + block
            if len(body) % 2 == 0:
                body.append(0x00)  # null block header: the rest is padding
            packets[frame] = [sequence << 6 | (len(body) + 1) // 2] + body
            sequence = (sequence + 1) % 4
        frame += 1
    return packets


def cdp(frame, packet):
    """A caption distribution packet for 29.97 fps with 20 cc_data triplets:
    608 padding of both fields, then the DTVCC packet, then invalid fill."""
    triplets = [[0xFC, 0x80, 0x80], [0xFD, 0x80, 0x80]]
    for i in range(0, len(packet), 2):
        triplets.append([0xFF if i == 0 else 0xFE, packet[i], packet[i + 1]])
    while len(triplets) < 20:
        triplets.append([0xFA, 0x00, 0x00])
    sequence = [frame >> 8 & 0xFF, frame & 0xFF]
    body = [0x96, 0x69, 0, 0x4F, 0x43] + sequence + [0x72, 0xE0 | 20]
    for t in triplets:
        body += t
    body += [0x74] + sequence + [0]
    body[2] = len(body)
    body[-1] = -sum(body) & 0xFF
    return body


# Letter substitutions of the MCC text encoding, longest runs first.
MCC_LETTERS = [([0xFA, 0x00, 0x00] * n, chr(ord("G") + n - 1)) for n in range(9, 0, -1)] + [
    ([0xFB, 0x80, 0x80], "P"), ([0xFC, 0x80, 0x80], "Q"), ([0xFD, 0x80, 0x80], "R"),
    ([0x96, 0x69], "S"), ([0x61, 0x01], "T"), ([0xE1, 0x00, 0x00, 0x00], "U"), ([0x00], "Z")]


def mcc_encode(data):
    out = []
    i = 0
    while i < len(data):
        for run, letter in MCC_LETTERS:
            if data[i:i + len(run)] == run:
                out.append(letter)
                i += len(run)
                break
        else:
            out.append("%02X" % data[i])
            i += 1
    return "".join(out)


def write_mcc(path):
    session = session_708()
    frames = frame_of(session[-1][0] + 1.0)
    packets = dtvcc_packets(session, frames)
    out = ["File Format=MacCaption_MCC V1.0", "",
           "// softcc demo: a 708 caption session, written by tools/softcc/demo/make_demo.py", "",
           "UUID=5F0C7D6A-1B2E-4C3D-9E8F-0A1B2C3D4E5F", "Creation Program=make_demo.py",
           "Creation Date=Monday, November 23, 2026", "Creation Time=12:00:00", "Time Code Rate=30DF", ""]
    for frame in range(frames):
        data = cdp(frame, packets.get(frame, []))
        anc = [0x61, 0x01, len(data)] + data
        anc.append(sum(anc) & 0xFF)  # ANC checksum: low 8 bits of the sum of all words before it
        out.append(timecode(frame) + "\t" + mcc_encode(anc))
    with open(path, "w", newline="\r\n") as f:
        f.write("\n".join(out) + "\n")


def write_streams(directory):
    pairs = [bytes.fromhex(word) for _, words in scc_lines() for word in words]
    with open(os.path.join(directory, "demo.608"), "wb") as f:
        f.write(b"".join(pairs))
    session = session_708()
    packets = dtvcc_packets(session, frame_of(session[-1][0] + 1.0))
    with open(os.path.join(directory, "demo.708"), "wb") as f:
        f.write(b"".join(bytes(packets[frame]) for frame in sorted(packets)))


def main():
    args = sys.argv[1:]
    streams = args[:1] == ["--streams"]
    if len(args) != 1 + streams:
        sys.exit("usage: make_demo.py [--streams] OUTPUT_DIR")
    directory = args[-1]
    os.makedirs(directory, exist_ok=True)
    if streams:
        write_streams(directory)
        return
    write_scc(os.path.join(directory, "demo.scc"))
    write_mcc(os.path.join(directory, "demo.mcc"))


if __name__ == "__main__":
    main()
