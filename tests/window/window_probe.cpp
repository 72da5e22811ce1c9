// Describes the dialog boxes on the desktop as JSON lines on stdout: caption,
// text, buttons with their ids and screen positions, and the owning process.
// The window test reads the real boxes through it; X11 tools see only the
// top-level window, not the text or the buttons inside it.
#include <windows.h>

#include <string>
#include <vector>

namespace
{
// The text as a JSON string.
std::string Json(const std::wstring& text)
{
    std::string utf8(text.size() * 3, '\0');
    utf8.resize(static_cast<size_t>(WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                                        utf8.data(), static_cast<int>(utf8.size()), nullptr, nullptr)));
    std::string out = "\"";
    for (char c : utf8)
    {
        switch (c)
        {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        default:
            if (static_cast<unsigned char>(c) < 0x20)
            {
                char escape[8];
                wsprintfA(escape, "\\u%04x", c);
                out += escape;
            }
            else
            {
                out += c;
            }
        }
    }
    return out + "\"";
}

std::wstring WindowText(HWND window)
{
    const int length = GetWindowTextLengthW(window);
    std::wstring text(static_cast<size_t>(length) + 1, L'\0');
    text.resize(static_cast<size_t>(GetWindowTextW(window, text.data(), length + 1)));
    return text;
}

std::wstring ClassName(HWND window)
{
    wchar_t name[64] = {};
    GetClassNameW(window, name, 64);
    return name;
}

BOOL CALLBACK CollectChild(HWND child, LPARAM param)
{
    auto* parts = reinterpret_cast<std::vector<std::string>*>(param);
    const std::wstring cls = ClassName(child);
    if (!IsWindowVisible(child))
        return TRUE;
    RECT rect = {};
    GetWindowRect(child, &rect);
    if (lstrcmpiW(cls.c_str(), L"Button") == 0)
    {
        char position[96];
        wsprintfA(position, "\"id\":%d,\"x\":%ld,\"y\":%ld", GetDlgCtrlID(child), (rect.left + rect.right) / 2,
                  (rect.top + rect.bottom) / 2);
        parts->push_back("{\"kind\":\"button\"," + std::string(position) + ",\"text\":" + Json(WindowText(child)) +
                         "}");
    }
    else if (lstrcmpiW(cls.c_str(), L"Static") == 0)
    {
        const std::wstring text = WindowText(child);
        if (!text.empty())
            parts->push_back("{\"kind\":\"text\",\"text\":" + Json(text) + "}");
    }
    return TRUE;
}

BOOL CALLBACK CollectDialog(HWND window, LPARAM param)
{
    if (!IsWindowVisible(window) || ClassName(window) != L"#32770")
        return TRUE;
    std::vector<std::string> parts;
    EnumChildWindows(window, CollectChild, reinterpret_cast<LPARAM>(&parts));
    RECT rect = {};
    GetWindowRect(window, &rect);
    DWORD pid = 0;
    GetWindowThreadProcessId(window, &pid);
    char head[160];
    wsprintfA(head, "{\"pid\":%lu,\"left\":%ld,\"top\":%ld,\"width\":%ld,\"height\":%ld,\"topmost\":%s,", pid,
              rect.left, rect.top, rect.right - rect.left, rect.bottom - rect.top,
              (GetWindowLongW(window, GWL_EXSTYLE) & WS_EX_TOPMOST) ? "true" : "false");
    std::string json = std::string(head) + "\"caption\":" + Json(WindowText(window)) + ",\"children\":[";
    for (size_t i = 0; i < parts.size(); ++i)
        json += (i ? "," : "") + parts[i];
    json += "]}\n";
    reinterpret_cast<std::vector<std::string>*>(param)->push_back(json);
    return TRUE;
}
} // namespace

int wmain()
{
    std::vector<std::string> dialogs;
    EnumWindows(CollectDialog, reinterpret_cast<LPARAM>(&dialogs));
    for (const std::string& dialog : dialogs)
    {
        DWORD written = 0;
        WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), dialog.data(), static_cast<DWORD>(dialog.size()), &written, nullptr);
    }
    return 0;
}
