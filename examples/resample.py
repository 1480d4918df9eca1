#!/usr/bin/env python3
"""Brings the page of a BMP file to another resolution and shows the progress: the 64-bit library
through ctypes, with nothing but Python itself. libdibhost comes first and global, since libdibprep
takes the memory functions from the process.

Run with the installed packages (elsewhere than /usr: LD_LIBRARY_PATH=/opt/dibprep/lib):

    $ python3 resample.py page-gray.bmp gray-200dpi.bmp 200
    0 % 20 % 40 % 60 % 80 % done
    1653 x 2338 pixels, 8 bits
"""

import ctypes
import struct
import sys
from ctypes import POINTER, c_int, c_size_t, c_uint, c_ushort, c_void_p

host = ctypes.CDLL("libdibhost.so.1", mode=ctypes.RTLD_GLOBAL)
dibprep = ctypes.CDLL("libdibprep.so.1")

Progress = ctypes.CFUNCTYPE(c_int, c_ushort)  # 0 to 99; the answer 0 stops the work
for function, result, arguments in (
    (host.GlobalAlloc, c_void_p, [c_uint, c_size_t]),
    (host.GlobalLock, c_void_p, [c_void_p]),
    (host.GlobalUnlock, c_int, [c_void_p]),
    (host.GlobalFree, c_void_p, [c_void_p]),
    (host.GlobalSize, c_size_t, [c_void_p]),
    (host.dibhost_scope_open, c_void_p, []),
    (host.dibhost_scope_close, c_size_t, [c_void_p]),
    (dibprep.ConvertResolution, c_int, [c_void_p, POINTER(c_void_p), Progress, c_ushort, c_int]),
):
    function.restype, function.argtypes = result, arguments


def new_block(content):
    block = host.GlobalAlloc(66, len(content))  # 66: movable and zeroed
    if not block:
        raise MemoryError(f"no block of {len(content)} bytes")
    ctypes.memmove(host.GlobalLock(block), content, len(content))
    host.GlobalUnlock(block)
    return block


def content_of(block):
    content = ctypes.string_at(host.GlobalLock(block), host.GlobalSize(block))
    host.GlobalUnlock(block)
    return content


def convert(dib, dpi, progress, threshold=128):
    """The page at another resolution, as bytes. The scope frees every block that comes up."""
    scope = host.dibhost_scope_open()
    try:
        result = c_void_p()
        status = dibprep.ConvertResolution(new_block(dib), ctypes.byref(result), Progress(progress), dpi, threshold)
        if status != 0:
            raise ValueError(f"ConvertResolution: status {status}")
        return content_of(result)
    finally:
        host.dibhost_scope_close(scope)


def show(percent):
    if percent % 20 == 0:
        print(percent, "%", end=" ", flush=True)
    return 1


def main():
    if len(sys.argv) != 4:
        sys.exit("resample.py IN.bmp OUT.bmp DPI")
    with open(sys.argv[1], "rb") as file:
        dib = file.read()[14:]  # behind the 14 bytes of the file's own header
    dib = convert(dib, int(sys.argv[3]), show)
    print("done")
    size, width, height, _, bits, _, _, _, _, used, _ = struct.unpack_from("<IiiHHIIiiII", dib)
    pixels = size + 4 * (used or (1 << bits if bits <= 8 else 0))
    end = pixels + (width * bits + 31) // 32 * 4 * height  # the block may be larger
    with open(sys.argv[2], "wb") as file:
        file.write(struct.pack("<2sIHHI", b"BM", 14 + end, 0, 0, 14 + pixels) + dib[:end])
    print(f"{width} x {height} pixels, {bits} bits")


main()
