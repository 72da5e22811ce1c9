// The reader's floating-point getters, apart from the others so that a
// program that reads no floating-point value does not link the runtime's
// floating-point parser (see json_text_float.cpp).
#include "json/json_reader.h"

#include "json/json_text.h"

bool JsonReader::GetFloat(float& value) const
{
    int32_t length = 0;
    const char* t = ValueText(length);
    return TextToFloat(t, length, value);
}

bool JsonReader::GetDouble(double& value) const
{
    int32_t length = 0;
    const char* t = ValueText(length);
    return TextToDouble(t, length, value);
}

bool JsonReader::GetFloat(const char* name, float& value) const
{
    JsonReader member;
    return FindMember(name, member) && member.GetFloat(value);
}

bool JsonReader::GetDouble(const char* name, double& value) const
{
    JsonReader member;
    return FindMember(name, member) && member.GetDouble(value);
}
