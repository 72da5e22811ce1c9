// Describes the dialog boxes on the desktop as JSON lines on stdout (caption,
// texts, buttons with ids and positions, process, and what the message-box
// hook recorded): X11 tools see none of it.
// With --hold-hook it instead sets that hook (box_style_hook.cpp, beside it)
// for every process, prints "hooked" and keeps it until its input closes.
#include <windows.h>

#include <cstdio>
#include <string>

namespace
{
std::string Json(const std::wstring& text)
{
    std::string utf8(text.size() * 3, '\0');
    utf8.resize(static_cast<size_t>(WideCharToMultiByte(CP_UTF8, 0, text.data(),
                                                        static_cast<int>(text.size()), utf8.data(),
                                                        static_cast<int>(utf8.size()), nullptr, nullptr)));
    std::string out = "\"";
    char escape[8];
    for (char c : utf8)
    {
        if (c == '"' || c == '\\')
            out += {'\\', c};
        else if (static_cast<unsigned char>(c) < 0x20)
            out += (wsprintfA(escape, "\\u%04x", c), escape);
        else
            out += c;
    }
    return out + "\"";
}

std::wstring WindowText(HWND window)
{
    wchar_t text[1024] = {}; // the stub's texts stay under 512 units
    GetWindowTextW(window, text, 1024);
    return text;
}

std::wstring ClassName(HWND window)
{
    wchar_t name[64] = {};
    GetClassNameW(window, name, 64);
    return name;
}

// Appends the visible buttons (id, centre) and non-empty texts to a JSON list.
BOOL CALLBACK CollectChild(HWND child, LPARAM param)
{
    auto& parts = *reinterpret_cast<std::string*>(param);
    const std::wstring cls = ClassName(child), text = WindowText(child);
    RECT rect = {};
    GetWindowRect(child, &rect);
    char button[96];
    wsprintfA(button, "{\"kind\":\"button\",\"id\":%d,\"x\":%ld,\"y\":%ld}", GetDlgCtrlID(child),
              (rect.left + rect.right) / 2, (rect.top + rect.bottom) / 2);
    if (IsWindowVisible(child) && lstrcmpiW(cls.c_str(), L"Button") == 0)
        parts += (parts.empty() ? "" : ",") + std::string(button);
    else if (IsWindowVisible(child) && lstrcmpiW(cls.c_str(), L"Static") == 0 && !text.empty())
        parts += (parts.empty() ? "" : ",") + ("{\"kind\":\"text\",\"text\":" + Json(text) + "}");
    return TRUE;
}

BOOL CALLBACK PrintDialog(HWND window, LPARAM)
{
    if (!IsWindowVisible(window) || ClassName(window) != L"#32770")
        return TRUE;
    std::string parts;
    EnumChildWindows(window, CollectChild, reinterpret_cast<LPARAM>(&parts));
    RECT rect = {};
    GetWindowRect(window, &rect);
    DWORD pid = 0;
    GetWindowThreadProcessId(window, &pid);
    char head[320];
    // Recorded values carry bit 31 (see box_style_hook.cpp); -1: not recorded.
    const auto recorded = [window](const wchar_t* name)
    {
        const auto value = reinterpret_cast<uintptr_t>(GetPropW(window, name));
        return value ? static_cast<long>(value & 0x7FFFFFFF) : -1L;
    };
    wsprintfA(head,
              "{\"pid\":%lu,\"left\":%ld,\"top\":%ld,\"width\":%ld,\"height\":%ld,\"topmost\":%s,"
              "\"exStyle\":%ld,\"boxStyle\":%ld,\"missingGlyphs\":%ld,",
              pid, rect.left, rect.top, rect.right - rect.left, rect.bottom - rect.top,
              (GetWindowLongW(window, GWL_EXSTYLE) & WS_EX_TOPMOST) ? "true" : "false",
              GetWindowLongW(window, GWL_EXSTYLE), recorded(L"KvoMessageBoxStyle"),
              recorded(L"KvoMissingGlyphs"));
    const std::string json =
        head + ("\"caption\":" + Json(WindowText(window))) + ",\"children\":[" + parts + "]}\n";
    DWORD written = 0;
    WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), json.data(), static_cast<DWORD>(json.size()), &written,
              nullptr);
    return TRUE;
}

int HoldHook(const wchar_t* probePath)
{
    std::wstring dll = probePath;
    dll.resize(dll.find_last_of(L"\\/") + 1);
    dll += L"kvo_box_style_hook.dll";
    const HMODULE module = LoadLibraryW(dll.c_str());
    const auto proc =
        module
            ? reinterpret_cast<HOOKPROC>(reinterpret_cast<void*>(GetProcAddress(module, "RecordMessageBox")))
            : nullptr;
    // Thread 0: every process's thread loads the DLL when it next sends a message.
    const HHOOK hook = proc ? SetWindowsHookExW(WH_CALLWNDPROC, proc, module, 0) : nullptr;
    if (!hook)
        return 1;
    std::puts("hooked");
    std::fflush(stdout);
    while (std::getchar() != EOF)
    {
    }
    UnhookWindowsHookEx(hook);
    return 0;
}
} // namespace

int wmain(int argc, wchar_t** argv)
{
    if (argc == 2 && lstrcmpW(argv[1], L"--hold-hook") == 0)
        return HoldHook(argv[0]);
    EnumWindows(PrintDialog, 0);
    return 0;
}
