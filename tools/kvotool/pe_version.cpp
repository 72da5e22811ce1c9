#include "pe_version.h"

#include <vector>

namespace kvotool
{
namespace
{
constexpr uint32_t kResourceDirectoryIndex = 2;
constexpr uint32_t kVersionResourceType = 16; // RT_VERSION
constexpr uint32_t kFixedInfoSignature = 0xFEEF04BD;
constexpr int kMaxBlockDepth = 4;

// Bounds-checked little-endian reads over the file's bytes.
class Bytes
{
public:
    explicit Bytes(const std::string& data) : m_Data(data) {}
    bool Has(uint64_t offset, uint64_t size) const
    {
        return offset <= m_Data.size() && size <= m_Data.size() - offset;
    }
    bool U16(uint64_t offset, uint32_t& value) const
    {
        if (!Has(offset, 2))
            return false;
        value = Byte(offset) | Byte(offset + 1) << 8;
        return true;
    }
    bool U32(uint64_t offset, uint32_t& value) const
    {
        if (!Has(offset, 4))
            return false;
        value = Byte(offset) | Byte(offset + 1) << 8 | Byte(offset + 2) << 16 | Byte(offset + 3) << 24;
        return true;
    }

private:
    uint32_t Byte(uint64_t offset) const { return static_cast<unsigned char>(m_Data[offset]); }
    const std::string& m_Data;
};

struct Section
{
    uint32_t virtualAddress, virtualSize, rawSize, rawOffset;
};

// Where an address of the loaded image lies in the file.
bool RvaToOffset(const std::vector<Section>& sections, uint32_t rva, uint64_t& offset)
{
    for (const Section& s : sections)
    {
        const uint32_t size = s.virtualSize ? s.virtualSize : s.rawSize;
        if (rva >= s.virtualAddress && rva - s.virtualAddress < size && rva - s.virtualAddress < s.rawSize)
        {
            offset = uint64_t(s.rawOffset) + (rva - s.virtualAddress);
            return true;
        }
    }
    return false;
}

void AppendUtf8(std::string& out, uint32_t cp)
{
    if (cp < 0x80)
        out += static_cast<char>(cp);
    else if (cp < 0x800)
    {
        out += static_cast<char>(0xC0 | cp >> 6);
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
    else if (cp < 0x10000)
    {
        out += static_cast<char>(0xE0 | cp >> 12);
        out += static_cast<char>(0x80 | (cp >> 6 & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
    else
    {
        out += static_cast<char>(0xF0 | cp >> 18);
        out += static_cast<char>(0x80 | (cp >> 12 & 0x3F));
        out += static_cast<char>(0x80 | (cp >> 6 & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

// A NUL-terminated UTF-16 text in [offset, end); `next` gets the offset after
// its terminator. False when no terminator comes before `end`.
bool ReadText(const Bytes& b, uint64_t offset, uint64_t end, std::string& text, uint64_t& next)
{
    text.clear();
    while (offset + 2 <= end)
    {
        uint32_t unit = 0;
        if (!b.U16(offset, unit))
            return false;
        offset += 2;
        if (unit == 0)
        {
            next = offset;
            return true;
        }
        uint32_t cp = unit;
        if (unit >= 0xD800 && unit < 0xDC00)
        {
            uint32_t low = 0;
            if (offset + 2 <= end && b.U16(offset, low) && low >= 0xDC00 && low < 0xE000)
            {
                cp = 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
                offset += 2;
            }
            else
                cp = 0xFFFD;
        }
        else if (unit >= 0xDC00 && unit < 0xE000)
            cp = 0xFFFD;
        AppendUtf8(text, cp);
    }
    return false;
}

uint64_t Align4(uint64_t offset, uint64_t base)
{
    return base + ((offset - base + 3) & ~uint64_t(3));
}

// One node of the version resource's tree: length, value length, type, key,
// value, children, each aligned to 4 bytes from the resource's start.
struct Block
{
    uint64_t start = 0, end = 0;
    std::string key;
    uint64_t valueStart = 0, valueBytes = 0;
    uint32_t type = 0;
    uint64_t childrenStart = 0;
};

bool ReadBlock(const Bytes& b, uint64_t base, uint64_t offset, uint64_t limit, Block& block)
{
    uint32_t length = 0, valueLength = 0, type = 0;
    if (!b.U16(offset, length) || !b.U16(offset + 2, valueLength) || !b.U16(offset + 4, type))
        return false;
    if (length < 6 || offset + length > limit)
        return false;
    block.start = offset;
    block.end = offset + length;
    block.type = type;
    uint64_t afterKey = 0;
    if (!ReadText(b, offset + 6, block.end, block.key, afterKey))
        return false;
    block.valueStart = Align4(afterKey, base);
    // Text values count UTF-16 units, binary ones bytes.
    block.valueBytes = type == 1 ? uint64_t(valueLength) * 2 : valueLength;
    if (block.valueStart > block.end || block.valueBytes > block.end - block.valueStart)
    {
        // Some resource compilers count the text's terminator or not: keep
        // what fits.
        block.valueBytes = block.valueStart > block.end ? 0 : block.end - block.valueStart;
    }
    block.childrenStart = Align4(block.valueStart + block.valueBytes, base);
    return true;
}

void ReadStrings(const Bytes& b, uint64_t base, const Block& parent, int depth, PeVersionInfo& info,
                 bool& tableSeen)
{
    if (depth > kMaxBlockDepth)
        return;
    uint64_t offset = parent.childrenStart;
    Block child;
    while (offset < parent.end && ReadBlock(b, base, offset, parent.end, child))
    {
        if (depth == 1 && child.key == "StringFileInfo")
            ReadStrings(b, base, child, depth + 1, info, tableSeen);
        else if (depth == 2 && !tableSeen)
        {
            // Only the first string table (one language) counts.
            tableSeen = true;
            ReadStrings(b, base, child, depth + 1, info, tableSeen);
        }
        else if (depth == 3)
        {
            std::string value;
            uint64_t ignored = 0;
            if (child.valueBytes == 0 ||
                !ReadText(b, child.valueStart, child.valueStart + child.valueBytes, value, ignored))
            {
                // A value without its terminator: take the units there are.
                value.clear();
                for (uint64_t o = child.valueStart; o + 2 <= child.valueStart + child.valueBytes; o += 2)
                {
                    uint32_t unit = 0;
                    if (!b.U16(o, unit) || unit == 0)
                        break;
                    AppendUtf8(value, unit >= 0xD800 && unit < 0xE000 ? 0xFFFD : unit);
                }
            }
            if (child.key == "FileVersion")
                info.fileVersionText = value;
            else if (child.key == "ProductName")
                info.productName = value;
            else if (child.key == "CompanyName")
                info.companyName = value;
            else if (child.key == "OriginalFilename")
                info.originalFilename = value;
            else if (child.key == "KeyFingerprint")
                info.keyFingerprint = value;
        }
        const uint64_t next = Align4(child.end, base);
        if (next <= offset)
            break;
        offset = next;
    }
}

// The first entry of a resource directory whose id is `id` (any id when
// `id` is 0xFFFFFFFF): its offset field.
bool FindEntry(const Bytes& b, uint64_t dir, uint32_t id, uint32_t& target)
{
    uint32_t named = 0, ids = 0;
    if (!b.U16(dir + 12, named) || !b.U16(dir + 14, ids))
        return false;
    for (uint32_t i = 0; i < named + ids; ++i)
    {
        uint32_t name = 0, value = 0;
        if (!b.U32(dir + 16 + 8 * uint64_t(i), name) || !b.U32(dir + 20 + 8 * uint64_t(i), value))
            return false;
        if (id == 0xFFFFFFFF || (!(name & 0x80000000u) && name == id))
        {
            target = value;
            return true;
        }
    }
    return false;
}
} // namespace

std::string FormatVersion(const uint16_t version[4])
{
    return std::to_string(version[0]) + "." + std::to_string(version[1]) + "." + std::to_string(version[2]) +
           "." + std::to_string(version[3]);
}

PeVersionResult ReadPeVersion(const std::string& data, PeVersionInfo& info)
{
    info = PeVersionInfo();
    const Bytes b(data);
    uint32_t peOffset = 0, signature = 0;
    if (data.size() < 64 || data.compare(0, 2, "MZ") != 0 || !b.U32(0x3C, peOffset) ||
        !b.U32(peOffset, signature) || signature != 0x00004550)
        return PeVersionResult::NotExecutable;
    const uint64_t coff = uint64_t(peOffset) + 4;
    uint32_t sectionCount = 0, optionalSize = 0, magic = 0;
    if (!b.U16(coff + 2, sectionCount) || !b.U16(coff + 16, optionalSize) || !b.U16(coff + 20, magic))
        return PeVersionResult::NotExecutable;
    const uint64_t optional = coff + 20;
    const uint64_t dirBase = optional + (magic == 0x20B ? 112 : 96);
    uint32_t dirCount = 0;
    if ((magic != 0x10B && magic != 0x20B) || !b.U32(dirBase - 4, dirCount))
        return PeVersionResult::NotExecutable;

    std::vector<Section> sections;
    const uint64_t table = optional + optionalSize;
    for (uint32_t i = 0; i < sectionCount; ++i)
    {
        Section s{};
        const uint64_t at = table + 40 * uint64_t(i);
        if (!b.U32(at + 8, s.virtualSize) || !b.U32(at + 12, s.virtualAddress) ||
            !b.U32(at + 16, s.rawSize) || !b.U32(at + 20, s.rawOffset))
            return PeVersionResult::NotExecutable;
        sections.push_back(s);
    }

    uint32_t resourceRva = 0;
    uint64_t resources = 0;
    if (dirCount <= kResourceDirectoryIndex || !b.U32(dirBase + 8 * kResourceDirectoryIndex, resourceRva) ||
        resourceRva == 0 || !RvaToOffset(sections, resourceRva, resources))
        return PeVersionResult::NoVersion;

    // Type, then name, then language: take the version type's first name and
    // its first language.
    uint32_t entry = 0;
    if (!FindEntry(b, resources, kVersionResourceType, entry) || !(entry & 0x80000000u))
        return PeVersionResult::NoVersion;
    if (!FindEntry(b, resources + (entry & 0x7FFFFFFF), 0xFFFFFFFF, entry) || !(entry & 0x80000000u))
        return PeVersionResult::NoVersion;
    if (!FindEntry(b, resources + (entry & 0x7FFFFFFF), 0xFFFFFFFF, entry) || (entry & 0x80000000u))
        return PeVersionResult::NoVersion;
    uint32_t dataRva = 0, dataSize = 0;
    uint64_t start = 0;
    if (!b.U32(resources + entry, dataRva) || !b.U32(resources + entry + 4, dataSize) ||
        !RvaToOffset(sections, dataRva, start) || !b.Has(start, dataSize))
        return PeVersionResult::NoVersion;

    Block root;
    if (!ReadBlock(b, start, start, start + dataSize, root) || root.key != "VS_VERSION_INFO")
        return PeVersionResult::NoVersion;
    uint32_t fixedSignature = 0, ms = 0, ls = 0;
    if (root.valueBytes < 52 || !b.U32(root.valueStart, fixedSignature) ||
        fixedSignature != kFixedInfoSignature || !b.U32(root.valueStart + 8, ms) ||
        !b.U32(root.valueStart + 12, ls))
        return PeVersionResult::NoVersion;
    info.fileVersion[0] = static_cast<uint16_t>(ms >> 16);
    info.fileVersion[1] = static_cast<uint16_t>(ms & 0xFFFF);
    info.fileVersion[2] = static_cast<uint16_t>(ls >> 16);
    info.fileVersion[3] = static_cast<uint16_t>(ls & 0xFFFF);
    bool tableSeen = false;
    ReadStrings(b, start, root, 1, info, tableSeen);
    return PeVersionResult::Ok;
}
} // namespace kvotool
