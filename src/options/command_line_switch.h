// Command-line switch objects: each one is a process-wide object that reads
// its own occurrences out of the stub's arguments.
#pragma once

#include <string>

class CommandLineSwitch
{
public:
    // The name is kept lower-cased: matching is case-insensitive.
    explicit CommandLineSwitch(const wchar_t* name);

    // Whether the switch may take its value from the argument that follows it.
    virtual bool TakesValue() const = 0;
    // Called once for every occurrence found on the command line.
    virtual void SetValue(const std::wstring& value) = 0;

    const std::wstring& Name() const { return m_Name; }

protected:
    // Instances live in static storage only; nothing deletes them through the base.
    ~CommandLineSwitch() = default;
    CommandLineSwitch(const CommandLineSwitch&) = delete;
    CommandLineSwitch& operator=(const CommandLineSwitch&) = delete;

private:
    std::wstring m_Name;
};

class FlagSwitch : public CommandLineSwitch
{
public:
    explicit FlagSwitch(const wchar_t* name) : CommandLineSwitch(name) {}
    bool TakesValue() const override { return false; }
    void SetValue(const std::wstring& /*value*/) override { m_Value = true; }
    bool IsSet() const { return m_Value; }

private:
    bool m_Value = false;
};

class ValueSwitch : public CommandLineSwitch
{
public:
    explicit ValueSwitch(const wchar_t* name) : CommandLineSwitch(name) {}
    bool TakesValue() const override { return true; }
    // The last occurrence wins.
    void SetValue(const std::wstring& value) override { m_Value = value; }
    // Readers count the switch as given only when this is not empty.
    const std::wstring& Value() const { return m_Value; }

private:
    std::wstring m_Value;
};
