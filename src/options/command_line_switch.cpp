#include "options/command_line_switch.h"

#include "util/text_convert.h"

CommandLineSwitch::CommandLineSwitch(const wchar_t* name) : m_Name(name ? name : L"")
{
    ToLowerInPlace(m_Name);
}
