#include "util/process.h"
#include "util/handle_count_win.h"
#include "util/test_folder_win.h"
#include "util/text_convert.h"
#include "util/win_handle.h"

#include "support/capture_sink.h"

#include <gtest/gtest.h>

#include <cwctype>

namespace
{
// A running copy of the helper program; ended when the object goes.
class HelperProcess
{
public:
    explicit HelperProcess(const std::wstring& exe) : m_Process(StartProcess(exe, L"60", 0, &m_Id)) {}
    ~HelperProcess() { Stop(); }
    void Stop()
    {
        if (!m_Process)
            return;
        TerminateProcess(m_Process.Get(), 0);
        WaitForSingleObject(m_Process.Get(), 10000);
        m_Process.Reset();
    }
    bool Started() const { return m_Process.Valid(); }
    DWORD Id() const { return m_Id; }

private:
    DWORD m_Id = 0;
    KernelHandle m_Process;
};

TEST(ForEachProcess, SeesThisProcessAndStopsOnRequest)
{
    DWORD handles = OpenHandleCount();
    bool foundSelf = false;
    int visited = 0;
    EXPECT_TRUE(libutil::ForEachProcess([&](const PROCESSENTRY32W& entry) {
        ++visited;
        EXPECT_EQ(entry.dwSize, sizeof(PROCESSENTRY32W));
        if (entry.th32ProcessID == GetCurrentProcessId())
            foundSelf = true;
        return true;
    }));
    EXPECT_TRUE(foundSelf);
    EXPECT_GT(visited, 1);

    int calls = 0;
    EXPECT_TRUE(libutil::ForEachProcess([&](const PROCESSENTRY32W&) { return ++calls < 2; }));
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(OpenHandleCount(), handles);
}

class IsProcessRunningTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        for (auto* dir : {&m_First, &m_Second})
        {
            ASSERT_TRUE(CreateDirectoryW(dir->c_str(), nullptr) || GetLastError() == ERROR_ALREADY_EXISTS);
            ASSERT_TRUE(CopyFileW((ExeFolder() + L"\\kvo_version_helper.exe").c_str(),
                                  (*dir + L"\\KvoLauncherTest.exe").c_str(), FALSE));
        }
        m_Handles = OpenHandleCount();
        ASSERT_GT(m_Handles, 0u) << "handles cannot be counted";
    }
    void TearDown() override { EXPECT_EQ(OpenHandleCount(), m_Handles) << "a handle leaked"; }

    std::wstring Exe(const std::wstring& dir) const { return dir + L"\\KvoLauncherTest.exe"; }

    TestFolder m_Dir{L"process"};
    std::wstring m_First = m_Dir / L"first";
    std::wstring m_Second = m_Dir / L"second";
    DWORD m_Handles = 0;
};

TEST_F(IsProcessRunningTest, AnswersForThePathThatRuns)
{
    EXPECT_FALSE(libutil::IsProcessRunning(Exe(m_First).c_str()));
    HelperProcess first(Exe(m_First));
    ASSERT_TRUE(first.Started());
    {
        ScopedLogCapture log;
        EXPECT_TRUE(libutil::IsProcessRunning(Exe(m_First).c_str()));
        EXPECT_TRUE(log.Contains("Launcher is already running."));
    }
    std::wstring upper = Exe(m_First);
    for (auto& c : upper)
        c = static_cast<wchar_t>(std::towupper(c));
    EXPECT_TRUE(libutil::IsProcessRunning(upper.c_str())) << "paths compare without case";
    {
        ScopedLogCapture log;
        // Same name, other folder: that program is not running.
        EXPECT_FALSE(libutil::IsProcessRunning(Exe(m_Second).c_str()));
        EXPECT_FALSE(log.Contains("Launcher is already running."));
    }
    // A bare name has no folder to compare: never running.
    EXPECT_FALSE(libutil::IsProcessRunning(L"KvoLauncherTest.exe"));
    first.Stop();
    EXPECT_FALSE(libutil::IsProcessRunning(Exe(m_First).c_str()));
}

TEST_F(IsProcessRunningTest, OnlyTheFirstMatchingProcessIsExamined)
{
    HelperProcess first(Exe(m_First));
    HelperProcess second(Exe(m_Second));
    ASSERT_TRUE(first.Started() && second.Started());
    DWORD firstFound = 0;
    libutil::ForEachProcess([&](const PROCESSENTRY32W& entry) {
        if (_wcsicmp(entry.szExeFile, L"KvoLauncherTest.exe") != 0)
            return true;
        firstFound = entry.th32ProcessID;
        return false;
    });
    ASSERT_TRUE(firstFound == first.Id() || firstFound == second.Id());
    // Both run, but only the program of the first process in the walk is seen.
    EXPECT_EQ(libutil::IsProcessRunning(Exe(m_First).c_str()), firstFound == first.Id());
    EXPECT_EQ(libutil::IsProcessRunning(Exe(m_Second).c_str()), firstFound == second.Id());
}

// Runs a copy of the location helper from the given folder; returns its exit
// code and the location it reported.
DWORD RunLocationHelper(const std::wstring& folder, const std::wstring& report, std::string& location)
{
    std::wstring exe = folder + L"\\kvo_location_helper.exe";
    if (!CopyFileW((ExeFolder() + L"\\kvo_location_helper.exe").c_str(), exe.c_str(), FALSE))
        return 100;
    DWORD code = RunProcess(exe, L"\"" + report + L"\"", 30000);
    location = ReadFileBytes(report);
    DeleteFileW(exe.c_str());
    return code;
}

TEST(CurrentProcessLocation, IsTheFolderAsUtf8AndFailsCleanlyWhenTooLong)
{
    TestFolder dir(L"location");
    // 140 two-byte characters: the wide path fits in MAX_PATH, its UTF-8 form
    // does not fit in 260 bytes. One folder name may not exceed 255 bytes on
    // the host, so the characters are split over two folders.
    std::wstring deep = dir.Path() + L"\\" + std::wstring(70, L'\u00E9');
    ASSERT_TRUE(CreateDirectoryW(deep.c_str(), nullptr));
    deep += L"\\" + std::wstring(70, L'\u00E9');
    ASSERT_TRUE(CreateDirectoryW(deep.c_str(), nullptr));
    ASSERT_LT(deep.size() + 24, static_cast<size_t>(MAX_PATH));
    ASSERT_GT(ToUtf8(deep).size(), 260u);
    std::string location;
    EXPECT_EQ(RunLocationHelper(deep, dir / L"long.txt", location), 1u);
    EXPECT_EQ(location, "") << "no partial text";

    // A shorter folder with the same characters works and comes back as UTF-8,
    // the executable's folder without a closing "\".
    std::wstring shorter = dir.Path() + L"\\" + std::wstring(20, L'\u00E9');
    ASSERT_TRUE(CreateDirectoryW(shorter.c_str(), nullptr));
    EXPECT_EQ(RunLocationHelper(shorter, dir / L"short.txt", location), 0u);
    EXPECT_EQ(location, ToUtf8(shorter));
}
} // namespace
