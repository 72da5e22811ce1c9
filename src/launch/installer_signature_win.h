// The Windows side of the installer signature check.
#pragma once

#include <string>

#include "launch/installer_signature.h"
#include "util/win_handle.h"

// Opens ABSOLUTEPATH for reading with read sharing only, refuses a reparse
// point, and reads its signature through WinVerifyTrust on that handle.
// Returns true when the file is held open in HELDOPEN: keep it until the
// installer has ended, so that the file checked cannot be replaced, renamed or
// deleted before it runs. OUT is filled in every case.
bool OpenAndReadInstallerSignature(const std::wstring& absolutePath, InstallerSignature& out,
                                   FileHandle& heldOpen);
