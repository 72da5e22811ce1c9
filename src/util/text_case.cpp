#include "util/text_convert.h"

#include <cwctype>

void ToLowerInPlace(std::wstring& text)
{
    for (auto& c : text)
        c = static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(c)));
}
