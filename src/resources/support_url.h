// The maker's support web address: opened by the Help button of error boxes
// and written into the message texts. The string-table generator reads the
// address from the #define below, so this line is the only place it exists.
#pragma once

#define KVO_SUPPORT_URL "https://support.tavrin-games.example"

#ifndef RC_INVOKED
// Narrow form for logs and tools, wide form for ShellExecuteW.
inline constexpr char kSupportUrl[] = KVO_SUPPORT_URL;
inline constexpr wchar_t kSupportUrlW[] = L"" KVO_SUPPORT_URL;
#endif
