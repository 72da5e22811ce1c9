// Read-only lists through which the metadata object hands out list values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

template <typename Element>
class MetadataList;

// A position in a list; works with range-for over a list.
template <typename Element>
struct ListCursor
{
    using iterator_category = std::input_iterator_tag;
    using value_type = std::remove_cv_t<std::remove_reference_t<Element>>;
    using difference_type = std::ptrdiff_t;
    using pointer = void;
    using reference = Element;

    const MetadataList<Element>* list;
    uint32_t index;

    Element operator*() const { return list->At(index); }
    ListCursor& operator++()
    {
        ++index;
        return *this;
    }
    bool operator==(const ListCursor& other) const { return list == other.list && index == other.index; }
    bool operator!=(const ListCursor& other) const { return !(*this == other); }
};

template <typename Element>
class MetadataList
{
public:
    virtual ~MetadataList() = default;
    virtual uint32_t Count() const = 0;
    virtual ListCursor<Element> Begin() const { return {this, 0}; }
    virtual ListCursor<Element> End() const { return {this, Count()}; }
    // `index` must be below Count().
    virtual Element At(uint32_t index) const = 0;

    ListCursor<Element> begin() const { return Begin(); }
    ListCursor<Element> end() const { return End(); }
};

// Elements are NUL-terminated UTF-8 texts owned by the list.
class TextList final : public MetadataList<const char*>
{
public:
    uint32_t Count() const override { return static_cast<uint32_t>(m_Items.size()); }
    const char* At(uint32_t index) const override { return m_Items[index].c_str(); }
    void Append(std::string item) { m_Items.push_back(std::move(item)); }
    void Clear() { m_Items.clear(); }

private:
    std::vector<std::string> m_Items;
};

// Elements are numbers of type Number.
template <typename Number>
class NumberListOf final : public MetadataList<Number>
{
public:
    uint32_t Count() const override { return static_cast<uint32_t>(m_Items.size()); }
    Number At(uint32_t index) const override { return m_Items[index]; }
    void Append(Number item) { m_Items.push_back(item); }
    void Clear() { m_Items.clear(); }

private:
    std::vector<Number> m_Items;
};

using NumberList = NumberListOf<uint32_t>;
using AppIdList = NumberListOf<uint64_t>;

// One element of `customPrerequisites`.
class PrerequisiteRecord
{
public:
    // Carried by every record; no document key sets it and the stub does not read it.
    static constexpr uint32_t kFixedNumber = 30000;

    virtual ~PrerequisiteRecord() = default;
    virtual const char* GetPrerequisiteId() const { return prerequisiteId.c_str(); }
    virtual const char* GetFriendlyName() const { return friendlyName.c_str(); }
    virtual const char* GetVersion() const { return version.c_str(); }
    virtual const char* GetExecutableName() const { return executableName.c_str(); }
    virtual const char* GetCommandline() const { return commandline.c_str(); }
    virtual const char* GetLocKey() const { return locKey.c_str(); }
    virtual const NumberList& GetIgnoreExitCodes() const { return ignoreExitCodes; }
    virtual uint32_t GetFixedNumber() const { return fixedNumber; }

    std::string prerequisiteId;
    std::string friendlyName;
    std::string version;
    std::string executableName;
    std::string commandline;
    std::string locKey;
    NumberList ignoreExitCodes;
    uint32_t fixedNumber = kFixedNumber;
};

class PrerequisiteList final : public MetadataList<const PrerequisiteRecord&>
{
public:
    uint32_t Count() const override { return static_cast<uint32_t>(m_Items.size()); }
    const PrerequisiteRecord& At(uint32_t index) const override { return *m_Items[index]; }
    void Append(std::unique_ptr<PrerequisiteRecord> item) { m_Items.push_back(std::move(item)); }
    void Clear() { m_Items.clear(); }

private:
    std::vector<std::unique_ptr<PrerequisiteRecord>> m_Items;
};
