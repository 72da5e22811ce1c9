#include "cli.h"

#include "suggest.h"

namespace kvotool
{
namespace
{
const OptionDef* FindLong(const std::vector<OptionDef>& defs, const std::string& name)
{
    for (const auto& def : defs)
        if (name == def.longName)
            return &def;
    return nullptr;
}

const OptionDef* FindShort(const std::vector<OptionDef>& defs, char c)
{
    for (const auto& def : defs)
        if (def.shortName && def.shortName == c)
            return &def;
    return nullptr;
}

std::string UnknownOption(const std::vector<OptionDef>& defs, const std::string& given)
{
    std::string error = "unknown option '" + given + "'";
    std::vector<std::string> names;
    for (const auto& def : defs)
        names.push_back(std::string("--") + def.longName);
    std::string closest = ClosestMatch(given, names);
    if (!closest.empty())
        error += "; did you mean '" + closest + "'?";
    return error;
}

void Store(ParsedArguments& parsed, const OptionDef& def, const std::string& value)
{
    if (def.takesValue)
    {
        parsed.values[def.longName] = value;
        parsed.repeated[def.longName].push_back(value);
    }
    else
        ++parsed.flags[def.longName];
}
} // namespace

bool ParseArguments(const std::vector<std::string>& args, size_t start, const std::vector<OptionDef>& defs,
                    ParsedArguments& parsed, std::string& error)
{
    bool optionsEnded = false;
    for (size_t i = start; i < args.size(); ++i)
    {
        const std::string& arg = args[i];
        if (optionsEnded || arg.size() < 2 || arg[0] != '-')
        {
            parsed.positionals.push_back(arg);
            continue;
        }
        if (arg == "--")
        {
            optionsEnded = true;
            continue;
        }
        const OptionDef* def = nullptr;
        std::string value;
        bool inlineValue = false;
        if (arg[1] == '-')
        {
            std::string name = arg.substr(2);
            size_t eq = name.find('=');
            if (eq != std::string::npos)
            {
                value = name.substr(eq + 1);
                name.resize(eq);
                inlineValue = true;
            }
            def = FindLong(defs, name);
            if (!def)
            {
                error = UnknownOption(defs, "--" + name);
                return false;
            }
            if (inlineValue && !def->takesValue)
            {
                error = "option '--" + name + "' takes no value";
                return false;
            }
        }
        else
        {
            def = FindShort(defs, arg[1]);
            if (!def)
            {
                error = UnknownOption(defs, arg);
                return false;
            }
            if (arg.size() > 2)
            {
                if (!def->takesValue)
                {
                    error = "option '-" + std::string(1, arg[1]) + "' takes no value";
                    return false;
                }
                value = arg.substr(2);
                inlineValue = true;
            }
        }
        if (def->takesValue && !inlineValue)
        {
            if (i + 1 >= args.size())
            {
                error = "option '--" + std::string(def->longName) + "' needs a value";
                return false;
            }
            value = args[++i];
        }
        if (def->takesValue && parsed.values.count(def->longName))
        {
            error = "option '--" + std::string(def->longName) + "' given twice";
            return false;
        }
        Store(parsed, *def, value);
    }
    return true;
}

bool ParseHexKey(const std::string& text, uint8_t key[32])
{
    if (text.size() != 64)
        return false;
    for (size_t i = 0; i < 32; ++i)
    {
        int byte = 0;
        for (size_t k = 0; k < 2; ++k)
        {
            char c = text[2 * i + k];
            int digit;
            if (c >= '0' && c <= '9')
                digit = c - '0';
            else if (c >= 'a' && c <= 'f')
                digit = c - 'a' + 10;
            else if (c >= 'A' && c <= 'F')
                digit = c - 'A' + 10;
            else
                return false;
            byte = byte * 16 + digit;
        }
        key[i] = static_cast<uint8_t>(byte);
    }
    return true;
}

bool ParseKeyText(const std::string& text, uint8_t key[32], std::string& error)
{
    std::string digits;
    for (char c : text)
        if (c != ' ' && c != '\t' && c != '\r' && c != '\n')
            digits += c;
    if (digits.size() != 64)
    {
        error = "the key must be 64 hexadecimal digits; got " + std::to_string(digits.size()) +
                " characters" + (digits.empty() ? std::string() : std::string(" besides blanks")) +
                " (make one with: openssl rand -hex 32)";
        return false;
    }
    if (!ParseHexKey(digits, key))
    {
        error = "the key must be 64 hexadecimal digits; it holds other characters";
        return false;
    }
    return true;
}
} // namespace kvotool
