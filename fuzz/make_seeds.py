#!/usr/bin/env python3
# Writes the seed corpora of the file-reader harnesses (fuzz/corpus/<format>): small
# valid files of each format in each sample depth, a few with several frames. Run
# from the repository root; the library harnesses' seeds are plain byte strings.
import os
import struct
import zlib


def put(fmt, name, data):
    d = os.path.join("fuzz", "corpus", fmt)
    os.makedirs(d, exist_ok=True)
    with open(os.path.join(d, name), "wb") as f:
        f.write(data)


def samples(n, maxv, seed):
    return [(i * 2654435761 + seed) % (maxv + 1) for i in range(n)]


def ser(w, h, depth, frames, colour, little):
    head = b"LUCAM-RECORDER" + struct.pack("<7i", 0, colour, little, w, h, depth, frames)
    head += b"observer".ljust(40, b"\0") + b"instrument".ljust(40, b"\0") + b"telescope".ljust(40, b"\0")
    head += struct.pack("<qq", 0, 0)
    body = b""
    for k in range(frames):
        s = samples(w * h, (1 << depth) - 1, k)
        if depth <= 8:
            body += bytes(s)
        else:
            body += b"".join(struct.pack("<H" if little else ">H", v) for v in s)
    return head + body


def card(text):
    return text.ljust(80).encode()


def fits(w, h, bitpix, extra=()):
    cards = [card("SIMPLE  =                    T"), card("BITPIX  = %20d" % bitpix), card("NAXIS   =                    2"),
             card("NAXIS1  = %20d" % w), card("NAXIS2  = %20d" % h)]
    cards += [card(c) for c in extra] + [card("END")]
    head = b"".join(cards)
    head += b" " * (-len(head) % 2880)
    if bitpix == 8:
        body = bytes(samples(w * h, 255, 3))
    else:
        body = b"".join(struct.pack(">h", v - 32768) for v in samples(w * h, 65535, 5))
    body += b"\0" * (-len(body) % 2880)
    return head + body


def pgm(w, h, maxv):
    s = samples(w * h, maxv, 7)
    body = bytes(s) if maxv < 256 else b"".join(struct.pack(">H", v) for v in s)
    return b"P5\n# seed\n%d %d\n%d\n" % (w, h, maxv) + body


def png(w, h, bits, colour_type, channels, sbit=None):
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
    rows = b""
    for y in range(h):
        s = samples(w * channels, (1 << bits) - 1, y)
        rows += b"\0" + (bytes(s) if bits == 8 else b"".join(struct.pack(">H", v) for v in s))
    out = b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", w, h, bits, colour_type, 0, 0, 0))
    if sbit:
        out += chunk(b"sBIT", bytes([sbit] * (channels if colour_type != 0 else 1)))
    return out + chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b"")


put("ser", "mono8", ser(8, 6, 8, 2, 0, 0))
put("ser", "rggb12-little", ser(6, 4, 12, 3, 8, 1))
put("ser", "bggr16-big", ser(4, 4, 16, 1, 11, 0))
put("fits", "u8", fits(8, 6, 8))
put("fits", "i16-bayer", fits(6, 4, 16, ["BAYERPAT= 'RGGB    '", "BZERO   =                32768"]))
put("pgm", "p5-255", pgm(8, 6, 255))
put("pgm", "p5-4095", pgm(6, 4, 4095))
put("pgm", "p5-65535", pgm(4, 4, 65535))
put("png", "grey8", png(8, 6, 8, 0, 1))
put("png", "grey16-sbit12", png(6, 4, 16, 0, 1, 12))
put("png", "rgb8", png(4, 4, 8, 2, 3))
put("png", "rgba16", png(4, 2, 16, 6, 4))
put("raw", "8bit", bytes([7, 5, 0, 0, 0, 0]) + bytes(samples(8 * 6, 255, 1)))
put("raw", "12bit-little", bytes([5, 3, 2, 0, 0, 0]) + b"".join(struct.pack("<H", v) for v in samples(6 * 4 * 2, 4095, 2)))
put("raw", "16bit-big-offset", bytes([3, 3, 3, 4, 1, 0]) + b"HEAD" + b"".join(struct.pack(">H", v) for v in samples(16, 65535, 3)))
