#include "util/process.h"
#include "util/test_folder_win.h"
#include "util/win_handle.h"

#include "support/capture_sink.h"

#include <gtest/gtest.h>

namespace
{
// A running copy of the helper program, ended when the object goes.
struct HelperProcess
{
    explicit HelperProcess(const std::wstring& exe) : process(StartProcess(exe, L"60", 0, &id)) {}
    ~HelperProcess() { Stop(); }
    void Stop()
    {
        (void)(process && TerminateProcess(process.Get(), 0) && WaitForSingleObject(process.Get(), 10000));
    }
    DWORD id = 0;
    KernelHandle process;
};

class IsProcessRunningTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        for (const auto& dir : {m_First, m_Second})
        {
            ASSERT_TRUE(CreateDirectoryW(dir.c_str(), nullptr));
            ASSERT_TRUE(
                CopyFileW((ExeFolder() + L"\\kvo_version_helper.exe").c_str(), Exe(dir).c_str(), FALSE));
        }
    }
    static std::wstring Exe(const std::wstring& dir) { return dir + L"\\KvoLauncherTest.exe"; }

    TestFolder m_Dir{L"process"};
    std::wstring m_First = m_Dir / L"first", m_Second = m_Dir / L"second";
};

TEST_F(IsProcessRunningTest, AnswersForThePathThatRuns)
{
    EXPECT_FALSE(libutil::IsProcessRunning(Exe(m_First).c_str()));
    HelperProcess first(Exe(m_First));
    ASSERT_TRUE(first.process);
    {
        ScopedLogCapture log;
        EXPECT_TRUE(libutil::IsProcessRunning(Exe(m_First).c_str()));
        EXPECT_TRUE(log.Contains("Launcher is already running."));
    }
    std::wstring upper = Exe(m_First);
    CharUpperW(&upper[0]);
    EXPECT_TRUE(libutil::IsProcessRunning(upper.c_str())) << "paths compare without case";
    // Same name, other folder: that program is not running.
    EXPECT_FALSE(libutil::IsProcessRunning(Exe(m_Second).c_str()));
    // A bare name has no folder to compare: never running.
    EXPECT_FALSE(libutil::IsProcessRunning(L"KvoLauncherTest.exe"));
    first.Stop();
    EXPECT_FALSE(libutil::IsProcessRunning(Exe(m_First).c_str()));
}

TEST_F(IsProcessRunningTest, OnlyTheFirstMatchingProcessIsExamined)
{
    HelperProcess first(Exe(m_First));
    HelperProcess second(Exe(m_Second));
    ASSERT_TRUE(first.process && second.process);
    DWORD firstFound = 0;
    libutil::ForEachProcess(
        [&](const PROCESSENTRY32W& entry)
        {
            if (_wcsicmp(entry.szExeFile, L"KvoLauncherTest.exe") != 0)
                return true;
            firstFound = entry.th32ProcessID;
            return false;
        });
    ASSERT_TRUE(firstFound == first.id || firstFound == second.id);
    // Both run, but only the program of the first process in the walk is seen.
    EXPECT_EQ(libutil::IsProcessRunning(Exe(m_First).c_str()), firstFound == first.id);
    EXPECT_EQ(libutil::IsProcessRunning(Exe(m_Second).c_str()), firstFound == second.id);
}
} // namespace
