// File queries, whole-file reads, file versions and path splitting/joining.
//
// The queries follow one last-error discipline: an error code left pending by
// earlier code is written to the log and cleared first, and the query itself
// leaves none pending (a missing file is no error in the log).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Same value as INVALID_FILE_ATTRIBUTES.
constexpr uint32_t kInvalidFileAttributes = 0xFFFFFFFFu;

struct FileVersion
{
    int32_t Major = 0;
    int32_t Minor = 0;
    int32_t Build = 0;
    int32_t Revision = 0;
};

// Path strings. Only "\" counts as a separator.
// Fails when path is empty or has no "\"; name is what follows the last "\".
bool GetFileNamePart(const std::wstring& path, std::wstring& name);
// Fails when path is empty or has no "\"; parent is what precedes the last "\".
bool GetParentPath(const std::wstring& path, std::wstring& parent);
// base := base + "\" + name with exactly one separator between them
// ("a"+"b", "a\"+"b", "a"+"\b", "a\"+"\b" all give "a\b"; ""+"b" gives "b";
// "a"+"" gives "a\").
void JoinPath(std::wstring& base, const std::wstring& name);
void JoinPath(const std::wstring& base, const std::wstring& name, std::wstring& result);

#if defined(_WIN32)
// GetFileAttributesW without leaving a last-error code; kInvalidFileAttributes
// when there is nothing at path.
uint32_t GetFileAttributesQuiet(const wchar_t* path);
// Something exists at path and it is not a folder.
bool FileExists(const wchar_t* path);
// path exists and is a junction or symbolic link; attributes (optional) gets
// the attributes read, kInvalidFileAttributes when nothing exists.
bool IsReparsePoint(const wchar_t* path, uint32_t* attributes = nullptr);
// Size in bytes; 0 and false when the path cannot be queried.
bool QueryFileSize(const wchar_t* path, uint64_t& size);
// Reads the whole file, opened for exclusive access; logs why it failed.
bool ReadWholeFile(const wchar_t* path, std::vector<uint8_t>& buffer);
// The fixed file version of an executable's version resource; 0.0.0.0 and
// false when it has none.
bool GetFileVersion(const wchar_t* path, FileVersion& version);

inline uint32_t GetFileAttributesQuiet(const std::wstring& path)
{
    return GetFileAttributesQuiet(path.c_str());
}
inline bool FileExists(const std::wstring& path)
{
    return FileExists(path.c_str());
}
inline bool IsReparsePoint(const std::wstring& path, uint32_t* attributes = nullptr)
{
    return IsReparsePoint(path.c_str(), attributes);
}
inline bool QueryFileSize(const std::wstring& path, uint64_t& size)
{
    return QueryFileSize(path.c_str(), size);
}
inline bool ReadWholeFile(const std::wstring& path, std::vector<uint8_t>& buffer)
{
    return ReadWholeFile(path.c_str(), buffer);
}
inline bool GetFileVersion(const std::wstring& path, FileVersion& version)
{
    return GetFileVersion(path.c_str(), version);
}
#endif
