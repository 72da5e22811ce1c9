// The block-wise container scan, included by json_scan.cpp once per vector
// width: the includer defines KVO_BLOCK_NAME, KVO_BLOCK_ATTR (the target
// attribute) and KVO_BLOCK_LOADER (the mask loader), because a function
// using wider registers must itself carry the target attribute.

// Block-wise container scan. A 64-byte block is classified with vector
// compares; quoted strings are tracked with a prefix XOR over the unescaped
// quotes, and only brackets outside strings are counted. A block with a NUL,
// with a backslash outside a string (where it escapes nothing), or where the
// depth could reach 0 or exceed the limit is handed to the byte-wise scan, so
// the result is always the byte-wise one.
KVO_BLOCK_ATTR int32_t KVO_BLOCK_NAME(const char* s, int32_t end, int32_t i, char open, char close, bool& tooDeep)
{
    // The state lives in locals (not in a ContainerState) so that it stays in
    // registers across blocks; it is packed only for the byte-wise fallback.
    int32_t depth = 1;
    uint64_t insideMask = 0; // all ones while inside a string at the block start
    uint64_t escapedIn = 0;  // 1 when the block's first byte is escaped
    int32_t k = i + 1;
    // Up to the first 64-byte boundary byte by byte: aligned blocks never
    // reach into another page (see KVO_NO_ASAN).
    const int32_t lead = static_cast<int32_t>((64 - (reinterpret_cast<uintptr_t>(s + k) & 63)) & 63);
    if (lead > 0)
    {
        ContainerState st = {depth, false, false};
        if (end - k < 64 + lead)
        {
            // Too short for a whole block after the lead.
            const int32_t r = ScanContainerRange(s, end, k, end, open, close, st, tooDeep);
            return r == kRunning ? -1 : r;
        }
        const int32_t r = ScanContainerRange(s, end, k, k + lead, open, close, st, tooDeep);
        if (r != kRunning)
            return r;
        depth = st.depth;
        insideMask = st.inString ? ~uint64_t(0) : 0;
        escapedIn = st.escaped ? 1 : 0;
        k += lead;
    }
    while (end - k >= 64)
    {
        const BlockMasks m = KVO_BLOCK_LOADER::Load(s + k, open, close);
        // A byte-wise block may end right after the opener that passes the
        // limit; the byte-wise scan then applies the limit at this block.
        bool slow = m.nul != 0 || depth > kMaxDepth;
        uint64_t inString = 0;
        uint64_t escapedOut = 0;
        if (!slow)
        {
            uint64_t escaped = escapedIn;
            uint64_t b = m.backslash;
            while (b)
            {
                const int j = Ctz64(b);
                b &= b - 1;
                if ((escaped >> j) & 1)
                    continue;
                if (j == 63)
                    escapedOut = 1;
                else
                    escaped |= uint64_t(1) << (j + 1);
            }
            const uint64_t quotes = m.quote & ~escaped;
            inString = KVO_BLOCK_LOADER::InsideQuotes(quotes) ^ insideMask;
            // Only a backslash inside a string escapes; one outside breaks the
            // assumption made above.
            if (m.backslash & ~inString)
                slow = true;
        }
        if (!slow)
        {
            const uint64_t opens = m.open & ~inString;
            const uint64_t closes = m.close & ~inString;
            if (opens | closes)
            {
                const int32_t nOpen = Popcount64(opens);
                const int32_t nClose = Popcount64(closes);
                if (depth + nOpen <= kMaxDepth && depth - nClose >= 1)
                    depth += nOpen - nClose;
                else
                {
                    uint64_t all = opens | closes;
                    while (all)
                    {
                        const int j = Ctz64(all);
                        all &= all - 1;
                        const int32_t pos = k + j;
                        if ((opens >> j) & 1)
                        {
                            if (++depth > kMaxDepth)
                            {
                                // The limit applies at the next position, if any.
                                if (pos + 1 < end && s[pos + 1] != '\0')
                                    tooDeep = true;
                                return -1;
                            }
                        }
                        else
                        {
                            if (depth == 1)
                                return pos + 1;
                            --depth;
                        }
                    }
                }
            }
            const uint64_t insideAtEnd = inString >> 63;
            insideMask = 0 - insideAtEnd;
            escapedIn = insideAtEnd & escapedOut;
        }
        else
        {
            ContainerState st = {depth, insideMask != 0, escapedIn != 0};
            const int32_t r = ScanContainerRange(s, end, k, k + 64, open, close, st, tooDeep);
            if (r != kRunning)
                return r;
            depth = st.depth;
            insideMask = st.inString ? ~uint64_t(0) : 0;
            escapedIn = st.escaped ? 1 : 0;
        }
        k += 64;
    }
    ContainerState st = {depth, insideMask != 0, escapedIn != 0};
    const int32_t r = ScanContainerRange(s, end, k, end, open, close, st, tooDeep);
    return r == kRunning ? -1 : r;
}
