"""What ships, checked on the built files: every DLL that PlayGame.exe and
kvotool.exe import statically is on the system's known-DLL list (anything
else would be searched for in the game folder first), and the stub stays
within its size budget. A program that imports bcrypt.dll is checked as a
control: the import check must flag it."""
import argparse
import os
import sys

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "support"))
import wine_stub  # noqa: E402

try:
    import pefile
except ImportError:
    raise SystemExit("python3-pefile is missing (scripts/deps.sh installs it)")

# HKLM\SYSTEM\CurrentControlSet\Control\Session Manager\KnownDLLs on Windows
# 10, plus ntdll and kernelbase, which are always mapped before the program.
KNOWN_DLLS = {
    "advapi32.dll", "clbcatq.dll", "combase.dll", "comdlg32.dll", "coml2.dll", "difxapi.dll", "gdi32.dll",
    "gdiplus.dll", "imagehlp.dll", "imm32.dll", "kernel32.dll", "kernelbase.dll", "msctf.dll", "msvcrt.dll",
    "normaliz.dll", "nsi.dll", "ntdll.dll", "ole32.dll", "oleaut32.dll", "psapi.dll", "rpcrt4.dll",
    "sechost.dll", "setupapi.dll", "shcore.dll", "shell32.dll", "shlwapi.dll", "user32.dll", "wldap32.dll",
    "ws2_32.dll",
}
STUB_SIZE_LIMIT = 300 * 1024

check = wine_stub.Checks()


def imported_dlls(path):
    pe = pefile.PE(path, fast_load=True)
    pe.parse_data_directories(directories=[
        pefile.DIRECTORY_ENTRY["IMAGE_DIRECTORY_ENTRY_IMPORT"],
        pefile.DIRECTORY_ENTRY["IMAGE_DIRECTORY_ENTRY_DELAY_IMPORT"],
    ])
    names = [entry.dll.decode("ascii").lower() for entry in getattr(pe, "DIRECTORY_ENTRY_IMPORT", [])]
    # Delay-loaded DLLs are searched for the same way, only later.
    names += [entry.dll.decode("ascii").lower() for entry in getattr(pe, "DIRECTORY_ENTRY_DELAY_IMPORT", [])]
    return names


def unknown_imports(path):
    return sorted(set(imported_dlls(path)) - KNOWN_DLLS)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--stub", required=True)
    parser.add_argument("--kvotool", required=True)
    parser.add_argument("--control", required=True, help="a program that imports bcrypt.dll")
    args = parser.parse_args()

    check("bcrypt.dll" in unknown_imports(args.control),
          "control: the check flags %s, which imports bcrypt.dll" % os.path.basename(args.control))
    for program in (args.stub, args.kvotool):
        extra = unknown_imports(program)
        check(not extra, "%s imports only known DLLs (%s)%s" % (
            os.path.basename(program), ", ".join(imported_dlls(program)),
            "; not known: " + ", ".join(extra) if extra else ""))
    size = os.path.getsize(args.stub)
    check(size <= STUB_SIZE_LIMIT, "%s is %d bytes, limit %d (300 KiB)" % (
        os.path.basename(args.stub), size, STUB_SIZE_LIMIT))
    return check.finish()


if __name__ == "__main__":
    sys.exit(main())
