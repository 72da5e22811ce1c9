// A window-procedure hook that the window probe sets for every process on the
// desktop (kvo_window_probe --hold-hook). When a message box is created it
// records, as properties of the box that the probe reads from outside:
// - the style the program asked the box for (MSGBOXPARAMSW.dwStyle): Wine's
//   boxes do not show MB_RTLREADING or MB_RIGHT in their window styles;
// - how many characters of the text the box's font has no glyph for, which
//   the player would see as empty squares.
#include <windows.h>

#include <cstdint>

namespace
{
// Set on top of the recorded style so that a box with style 0 differs from a box never seen.
constexpr uintptr_t kSeen = 0x80000000u;

uintptr_t MissingGlyphs(HWND box, const wchar_t* text)
{
    const int length = lstrlenW(text);
    WORD* glyphs = static_cast<WORD*>(HeapAlloc(GetProcessHeap(), 0, (length + 1) * sizeof(WORD)));
    if (!glyphs)
        return kSeen;
    HDC dc = GetDC(box);
    // The box's font is set before WM_INITDIALOG; the text control uses the same.
    const HGDIOBJ old = SelectObject(dc, reinterpret_cast<HFONT>(SendMessageW(box, WM_GETFONT, 0, 0)));
    uintptr_t missing = 0;
    if (GetGlyphIndicesW(dc, text, length, glyphs, GGI_MARK_NONEXISTING_GLYPHS) == static_cast<DWORD>(length))
    {
        for (int i = 0; i < length; ++i)
            missing += text[i] >= 0x20 && glyphs[i] == 0xFFFF;
    }
    else
        missing = kSeen; // could not be measured: counts as a failure
    SelectObject(dc, old);
    ReleaseDC(box, dc);
    HeapFree(GetProcessHeap(), 0, glyphs);
    return kSeen | missing;
}
} // namespace

extern "C" __declspec(dllexport) LRESULT CALLBACK RecordMessageBox(int code, WPARAM wParam, LPARAM lParam)
{
    const auto* message = reinterpret_cast<const CWPSTRUCT*>(lParam);
    wchar_t className[16] = {};
    if (code == HC_ACTION && message->message == WM_INITDIALOG && message->lParam &&
        GetClassNameW(message->hwnd, className, 16) && lstrcmpW(className, L"#32770") == 0)
    {
        // A message box's dialog gets its MSGBOXPARAMSW; the stub shows no other dialog.
        const auto* params = reinterpret_cast<const MSGBOXPARAMSW*>(message->lParam);
        if (params->cbSize == sizeof(MSGBOXPARAMSW))
        {
            SetPropW(message->hwnd, L"KvoMessageBoxStyle", reinterpret_cast<HANDLE>(kSeen | params->dwStyle));
            if (params->lpszText && !IS_INTRESOURCE(params->lpszText))
                SetPropW(message->hwnd, L"KvoMissingGlyphs",
                         reinterpret_cast<HANDLE>(MissingGlyphs(message->hwnd, params->lpszText)));
        }
    }
    return CallNextHookEx(nullptr, code, wParam, lParam);
}
