#include "file_io.h"

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <iterator>

#ifdef _WIN32
// windows.h first: shellapi.h builds on its types.
#include <windows.h>

#include "util/win_handle.h"

#include <fcntl.h>
#include <io.h>
#include <shellapi.h>
#else
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace kvotool
{
namespace
{
#ifdef _WIN32
std::wstring WidePath(const std::string& utf8)
{
    return std::filesystem::u8path(utf8).wstring();
}

std::string SystemMessage(DWORD code)
{
    char* text = nullptr;
    DWORD n = FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                                 FORMAT_MESSAGE_IGNORE_INSERTS,
                             nullptr, code, 0, reinterpret_cast<char*>(&text), 0, nullptr);
    std::string message = n && text ? std::string(text, n) : "system error " + std::to_string(code);
    if (text)
        LocalFree(text);
    while (!message.empty() && (message.back() == '\n' || message.back() == '\r' || message.back() == ' ' ||
                                message.back() == '.'))
        message.pop_back();
    return message;
}
#endif

bool ReadStream(std::FILE* f, std::string& bytes)
{
    char chunk[65536];
    size_t n;
    while ((n = std::fread(chunk, 1, sizeof chunk, f)) > 0)
        bytes.append(chunk, n);
    return !std::ferror(f);
}
} // namespace

bool ReadWholeFile(const std::string& path, std::string& bytes, std::string& error)
{
    bytes.clear();
    if (path == "-")
    {
        if (!ReadStream(stdin, bytes))
        {
            error = "cannot read standard input";
            return false;
        }
        return true;
    }
    std::error_code ec;
#ifdef _WIN32
    const auto fsPath = std::filesystem::u8path(path);
#else
    const std::filesystem::path fsPath(path);
#endif
    if (std::filesystem::is_directory(fsPath, ec))
    {
        error = "cannot read '" + path + "': it is a folder";
        return false;
    }
#ifdef _WIN32
    std::FILE* f = _wfopen(WidePath(path).c_str(), L"rb");
#else
    std::FILE* f = std::fopen(path.c_str(), "rb");
#endif
    if (!f)
    {
        error = "cannot open '" + path + "': " + std::strerror(errno);
        return false;
    }
    bool ok = ReadStream(f, bytes);
    std::fclose(f);
    if (!ok)
    {
        error = "cannot read '" + path + "'";
        bytes.clear();
    }
    return ok;
}

bool IsTerminal(std::FILE* stream)
{
#ifdef _WIN32
    return _isatty(_fileno(stream)) != 0;
#else
    return isatty(fileno(stream)) != 0;
#endif
}

bool WriteFileAtomically(const std::string& path, const std::string& bytes, std::string& error)
{
    if (path == "-")
    {
        std::fwrite(bytes.data(), 1, bytes.size(), stdout);
        if (std::fflush(stdout) != 0 || std::ferror(stdout))
        {
            error = "cannot write to standard output";
            return false;
        }
        return true;
    }
#ifdef _WIN32
    const std::wstring target = WidePath(path);
    static unsigned counter = 0;
    std::wstring temp;
    FileHandle h;
    // CREATE_NEW never truncates someone else's file; retry with another name.
    for (int attempt = 0; attempt < 100 && !h; ++attempt)
    {
        temp = target + L".kvotool-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
               std::to_wstring(counter++) + L".tmp";
        h.Reset(
            CreateFileW(temp.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
        if (!h && GetLastError() != ERROR_FILE_EXISTS)
            break;
    }
    if (!h)
    {
        error = "cannot create a file beside '" + path + "': " + SystemMessage(GetLastError());
        return false;
    }
    size_t done = 0;
    bool ok = true;
    while (ok && done < bytes.size())
    {
        DWORD chunk = static_cast<DWORD>(std::min<size_t>(bytes.size() - done, 1u << 30));
        DWORD written = 0;
        ok = WriteFile(h.Get(), bytes.data() + done, chunk, &written, nullptr) && written == chunk;
        done += written;
    }
    DWORD code = ok ? 0 : GetLastError();
    if (ok && !FlushFileBuffers(h.Get()))
    {
        ok = false;
        code = GetLastError();
    }
    h.Reset();
    if (ok && !MoveFileExW(temp.c_str(), target.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
    {
        ok = false;
        code = GetLastError();
    }
    if (!ok)
    {
        DeleteFileW(temp.c_str());
        error = "cannot write '" + path + "': " + SystemMessage(code);
        return false;
    }
    return true;
#else
    std::string temp = path + ".kvotool-XXXXXX";
    int fd = mkstemp(temp.data());
    if (fd < 0)
    {
        error = "cannot create a file beside '" + path + "': " + std::strerror(errno);
        return false;
    }
    // mkstemp creates the file private; give it the mode of the file it
    // replaces, or the one a plain create would.
    mode_t mode;
    struct stat existing;
    if (stat(path.c_str(), &existing) == 0 && S_ISREG(existing.st_mode))
        mode = existing.st_mode & 07777;
    else
    {
        mode_t mask = umask(0);
        umask(mask);
        mode = 0666 & ~mask;
    }
    int err = 0;
    if (fchmod(fd, mode) != 0)
        err = errno;
    size_t done = 0;
    while (!err && done < bytes.size())
    {
        ssize_t n = write(fd, bytes.data() + done, bytes.size() - done);
        if (n < 0)
        {
            if (errno == EINTR)
                continue;
            err = errno;
            break;
        }
        done += static_cast<size_t>(n);
    }
    if (!err && fsync(fd) != 0)
        err = errno;
    if (close(fd) != 0 && !err)
        err = errno;
    if (!err && std::rename(temp.c_str(), path.c_str()) != 0)
        err = errno;
    if (err)
    {
        unlink(temp.c_str());
        error = "cannot write '" + path + "': " + std::strerror(err);
        return false;
    }
    return true;
#endif
}

std::vector<std::string> GetUtf8Arguments(int argc, char** argv)
{
    std::vector<std::string> args;
#ifdef _WIN32
    (void)argc;
    (void)argv;
    int count = 0;
    wchar_t** wide = CommandLineToArgvW(GetCommandLineW(), &count);
    if (wide)
    {
        for (int i = 0; i < count; ++i)
            args.push_back(std::filesystem::path(wide[i]).u8string());
        LocalFree(wide);
        return args;
    }
#endif
    for (int i = 0; i < argc; ++i)
        args.emplace_back(argv[i]);
    return args;
}

std::string PathToUri(const std::string& path)
{
    std::string p = path;
    for (char& c : p)
        if (c == '\\')
            c = '/';
    const bool drive = p.size() >= 2 && std::isalpha(static_cast<unsigned char>(p[0])) && p[1] == ':';
    const bool unc = p.compare(0, 2, "//") == 0;
    std::string out;
    size_t start = 0;
    if (unc)
    {
        out = "file:"; // file://server/share/...
    }
    else if (drive)
    {
        out = "file:///" + p.substr(0, 2);
        start = 2;
    }
    else if (!p.empty() && p[0] == '/')
    {
        out = "file://";
    }
    static const char kHex[] = "0123456789ABCDEF";
    for (size_t i = start; i < p.size(); ++i)
    {
        const unsigned char c = static_cast<unsigned char>(p[i]);
        if (std::isalnum(c) || c == '-' || c == '.' || c == '_' || c == '~' || c == '/')
            out += static_cast<char>(c);
        else
        {
            out += '%';
            out += kHex[c >> 4];
            out += kHex[c & 15];
        }
    }
    return out;
}

#ifdef _WIN32
namespace
{
UINT g_SavedOutputCodePage = 0;

void RestoreConsoleCodePage()
{
    if (g_SavedOutputCodePage)
        SetConsoleOutputCP(g_SavedOutputCodePage);
}
} // namespace
#endif

void SetBinaryStdio()
{
#ifdef _WIN32
    _setmode(_fileno(stdin), _O_BINARY);
    _setmode(_fileno(stdout), _O_BINARY);
    // Messages are UTF-8; a console shows them right only in that code page.
    // The console outlives the process, so its code page is put back at exit.
    g_SavedOutputCodePage = GetConsoleOutputCP();
    if (g_SavedOutputCodePage && g_SavedOutputCodePage != CP_UTF8 && SetConsoleOutputCP(CP_UTF8))
        std::atexit(RestoreConsoleCodePage);
    else
        g_SavedOutputCodePage = 0;
#endif
}
} // namespace kvotool
