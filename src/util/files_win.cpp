#include "util/files.h"

#include "log/stub_log.h"
#include "util/system_library.h"
#include "util/win_handle.h"

#include <windows.h>

#include <memory>

namespace
{
// Writes a pending last-error code to the log and clears it.
void ReportPending()
{
    StubLog::LastError(nullptr, true);
}

// The same, but a pending code equal to ignored is cleared silently.
void ReportPendingUnless(DWORD ignored)
{
    StubLog::LastErrorUnless(ignored, nullptr, true);
}

uint32_t AttributesAfterReport(const wchar_t* path)
{
    ReportPending();
    uint32_t attributes = GetFileAttributesQuiet(path);
    ReportPendingUnless(ERROR_FILE_NOT_FOUND);
    return attributes;
}
} // namespace

uint32_t GetFileAttributesQuiet(const wchar_t* path)
{
    SetLastError(0);
    DWORD attributes = GetFileAttributesW(path);
    if (attributes == INVALID_FILE_ATTRIBUTES)
        SetLastError(0);
    ReportPending();
    return attributes;
}

bool FileExists(const wchar_t* path)
{
    uint32_t attributes = AttributesAfterReport(path);
    return attributes != kInvalidFileAttributes && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

bool IsReparsePoint(const wchar_t* path, uint32_t* attributesOut)
{
    uint32_t attributes = AttributesAfterReport(path);
    if (attributesOut)
        *attributesOut = attributes;
    return attributes != kInvalidFileAttributes && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

bool QueryFileSize(const wchar_t* path, uint64_t& size)
{
    ReportPending();
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (!GetFileAttributesExW(path, GetFileExInfoStandard, &data))
    {
        // The failure's own code stays out of the log: asking is no error.
        SetLastError(0);
        size = 0;
        return false;
    }
    ReportPending();
    size = (static_cast<uint64_t>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
    return true;
}

bool ReadWholeFile(const wchar_t* path, std::vector<uint8_t>& buffer)
{
    ReportPending();
    // Exclusive access: a file that someone else holds open is not read.
    FileHandle file(
        CreateFileW(path, FILE_READ_DATA, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file)
    {
        ReportPending();
        StubLog::Printf("Couldn't open %ls", path);
        return false;
    }
    LARGE_INTEGER size;
    if (!GetFileSizeEx(file.Get(), &size))
    {
        ReportPending();
        StubLog::Printf("Can't get file size: %ls", path);
        return false;
    }
    if (size.HighPart > 0)
    {
        StubLog::Printf("File too big: %ls", path);
        return false;
    }
    DWORD wanted = size.LowPart;
    buffer.assign(wanted, 0);
    DWORD read = 0;
    BOOL ok = ReadFile(file.Get(), buffer.data(), wanted, &read, nullptr);
    ReportPending();
    if (!ok || read < wanted)
    {
        StubLog::Printf("Only read %d out of %d bytes for %ls", static_cast<int>(read),
                        static_cast<int>(wanted), path);
        file.Reset();
        ReportPending();
        return false;
    }
    file.Reset();
    ReportPending();
    return true;
}

bool GetFileVersion(const wchar_t* path, FileVersion& version)
{
    version = FileVersion();
    // version.dll is not a known DLL: load it from the system folder for
    // this one read instead of importing it (a copy in the game folder would
    // otherwise run before the stub does).
    const ModuleHandle library = LoadSystemLibrary(L"version.dll");
    decltype(&GetFileVersionInfoSizeW) infoSize = nullptr;
    decltype(&GetFileVersionInfoW) info = nullptr;
    decltype(&VerQueryValueA) query = nullptr;
    if (!library.Find("GetFileVersionInfoSizeW", infoSize) || !library.Find("GetFileVersionInfoW", info) ||
        !library.Find("VerQueryValueA", query))
        return false;
    DWORD size = infoSize(path, nullptr);
    if (size == 0)
        return false;
    std::unique_ptr<uint8_t[]> block(new uint8_t[size]);
    if (!info(path, 0, size, block.get()))
        return false;
    void* value = nullptr;
    UINT length = 0;
    if (!query(block.get(), "\\", &value, &length) || !value || length < sizeof(VS_FIXEDFILEINFO))
        return false;
    const auto* fixed = static_cast<const VS_FIXEDFILEINFO*>(value);
    version.Major = HIWORD(fixed->dwFileVersionMS);
    version.Minor = LOWORD(fixed->dwFileVersionMS);
    version.Build = HIWORD(fixed->dwFileVersionLS);
    version.Revision = LOWORD(fixed->dwFileVersionLS);
    return true;
}
