#!/usr/bin/env python3
"""Prints the COFF header time stamp of each PE file given, one per line."""
import struct
import sys


def pe_timestamp(path):
    with open(path, "rb") as f:
        data = f.read(4096)
    if data[:2] != b"MZ" or len(data) < 0x40:
        raise ValueError(f"{path}: not an MZ executable")
    pe = struct.unpack_from("<I", data, 0x3C)[0]
    if data[pe:pe + 4] != b"PE\0\0":
        raise ValueError(f"{path}: no PE header")
    # Signature, then Machine (2), NumberOfSections (2), TimeDateStamp (4).
    return struct.unpack_from("<I", data, pe + 8)[0]


if __name__ == "__main__":
    try:
        for name in sys.argv[1:]:
            print(pe_timestamp(name))
    except (OSError, ValueError, struct.error) as e:
        sys.exit(f"pe_timestamp: {e}")
