#include "util/win_handle.h"

#include <gtest/gtest.h>

#include <utility>

namespace
{
bool IsOpen(HANDLE handle)
{
    DWORD flags = 0;
    return GetHandleInformation(handle, &flags) != 0;
}

HANDLE NewEvent()
{
    return CreateEventW(nullptr, TRUE, FALSE, nullptr);
}

// An event the system refuses to close: CloseHandle fails on it and sets the
// last error, which is what an owner must not let through.
HANDLE ProtectedEvent()
{
    HANDLE event = NewEvent();
    if (event && !SetHandleInformation(event, HANDLE_FLAG_PROTECT_FROM_CLOSE, HANDLE_FLAG_PROTECT_FROM_CLOSE))
    {
        CloseHandle(event);
        return nullptr;
    }
    return event;
}

// Lifts the protection and closes for real, so the test leaks nothing.
void Unprotect(HANDLE event)
{
    SetHandleInformation(event, HANDLE_FLAG_PROTECT_FROM_CLOSE, 0);
    KernelHandle closer(event);
}

// The ways an owner lets go of what it holds.
struct LetGo
{
    const char* name;
    void (*run)(KernelHandle& owner);
};

const LetGo kLetGo[] = {
    {"destructor", [](KernelHandle& owner) { KernelHandle(std::move(owner)); }},
    {"Reset()", [](KernelHandle& owner) { owner.Reset(); }},
    {"Reset(other)", [](KernelHandle& owner) { owner.Reset(nullptr); }},
    {"move-assign", [](KernelHandle& owner) { owner = KernelHandle(); }},
};

TEST(ScopedHandleTest, KeepsTheLastErrorAcrossAFailingClose)
{
    for (const LetGo& letGo : kLetGo)
    {
        SCOPED_TRACE(letGo.name);
        HANDLE event = ProtectedEvent();
        ASSERT_TRUE(event);
        // Control: the close itself does fail and change the last error.
        SetLastError(1234);
        EXPECT_FALSE(CloseHandle(event));
        EXPECT_NE(GetLastError(), 1234u);

        KernelHandle owner(event);
        SetLastError(1234);
        letGo.run(owner);
        EXPECT_EQ(GetLastError(), 1234u);
        EXPECT_FALSE(owner);
        Unprotect(event);
        EXPECT_FALSE(IsOpen(event));
    }
}

TEST(ScopedHandleTest, ClosesTheOldHandleOnceAndMovesOwnership)
{
    KernelHandle first(NewEvent());
    const HANDLE firstRaw = first.Get();
    ASSERT_TRUE(first);

    KernelHandle moved(std::move(first));
    EXPECT_FALSE(first);
    EXPECT_EQ(moved.Get(), firstRaw);
    EXPECT_TRUE(IsOpen(firstRaw)) << "a move does not close";

    KernelHandle second(NewEvent());
    const HANDLE secondRaw = second.Get();
    ASSERT_TRUE(second);
    moved = std::move(second);
    EXPECT_FALSE(IsOpen(firstRaw)) << "move-assign closes what it held";
    EXPECT_TRUE(IsOpen(secondRaw));

    HANDLE third = NewEvent();
    moved.Reset(third);
    EXPECT_FALSE(IsOpen(secondRaw)) << "Reset closes what it held";
    EXPECT_EQ(moved.Get(), third);

    HANDLE released = moved.Release();
    EXPECT_FALSE(moved);
    EXPECT_TRUE(IsOpen(released)) << "Release hands over without closing";
    KernelHandle(released).Reset();
    EXPECT_FALSE(IsOpen(released));
}
} // namespace
