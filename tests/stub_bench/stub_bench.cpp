// Wall time from starting the stub to its launcher's exit, against a minimal
// program that only starts the same launcher through the shell and waits.
// Runs interleaved under the current Wine prefix and prints the medians.
//   stub_bench [runs]
#include "metadata/metadata_container.h"
#include "util/win_handle.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace
{
const wchar_t* const kLauncherKey = L"SOFTWARE\\WOW6432Node\\Tavrin Games\\Launcher";

std::wstring BinFolder()
{
    wchar_t path[4096] = {};
    GetModuleFileNameW(nullptr, path, 4096);
    std::wstring folder(path);
    return folder.substr(0, folder.find_last_of(L'\\'));
}

bool WriteBytes(const std::wstring& path, const std::vector<uint8_t>& bytes)
{
    FileHandle file(
        CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    DWORD written = 0;
    return file && WriteFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) &&
           written == bytes.size();
}

// Milliseconds from process creation to its end; negative on failure.
double TimeRun(const std::wstring& program, std::wstring commandLine, const std::wstring& cwd)
{
    LARGE_INTEGER frequency, start, end;
    QueryPerformanceFrequency(&frequency);
    QueryPerformanceCounter(&start);
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION info = {};
    if (!CreateProcessW(program.c_str(), &commandLine[0], nullptr, nullptr, FALSE, 0, nullptr, cwd.c_str(),
                        &startup, &info))
        return -1;
    KernelHandle process(info.hProcess);
    KernelHandle thread(info.hThread);
    if (WaitForSingleObject(process.Get(), 60000) != WAIT_OBJECT_0)
        return -1;
    QueryPerformanceCounter(&end);
    return 1000.0 * static_cast<double>(end.QuadPart - start.QuadPart) /
           static_cast<double>(frequency.QuadPart);
}

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const size_t n = values.size();
    return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}
struct Series
{
    const char* name;
    std::wstring program, commandLine, cwd;
    std::vector<double> times;
};

void PrintSeries(const Series& series)
{
    std::printf("%-34s median %6.1f ms (min %.1f, max %.1f)\n", series.name, Median(series.times),
                *std::min_element(series.times.begin(), series.times.end()),
                *std::max_element(series.times.begin(), series.times.end()));
}

void PrintRatio(const char* name, const Series& a, const Series& b)
{
    std::printf("ratio %-28s %.3f (of the minimums %.3f)\n", name, Median(a.times) / Median(b.times),
                *std::min_element(a.times.begin(), a.times.end()) /
                    *std::min_element(b.times.begin(), b.times.end()));
}
} // namespace

int wmain(int argc, wchar_t** argv)
{
    const int runs = argc > 1 ? std::max(1, _wtoi(argv[1])) : 101;
    const std::wstring bin = BinFolder();
    const std::wstring root = bin + L"\\stub bench work";
    const std::wstring plainGame = root + L"\\Plain Game";
    const std::wstring containerGame = root + L"\\Container Game";
    const std::wstring launcherFolder = root + L"\\Launcher Home";
    const std::wstring launcher = launcherFolder + L"\\Launcher.exe";
    CreateDirectoryW(root.c_str(), nullptr);
    CreateDirectoryW(plainGame.c_str(), nullptr);
    CreateDirectoryW(containerGame.c_str(), nullptr);
    CreateDirectoryW(launcherFolder.c_str(), nullptr);
    const std::string document =
        R"({"titleId":"BENCH","friendlyName":"Bench","principalFileName":"Game.exe","appdataFolderName":"Bench",)"
        R"("installFolderRegKey":"SOFTWARE\\Bench","installFolderRegValueName":"InstallDir","languages":["en"],)"
        R"("gamePlatform":"steam","steamAppIds":[480],"environment":"prod"})";
    std::vector<uint8_t> container;
    if (!CopyFileW((bin + L"\\" + KVO_BENCH_STUB_EXE).c_str(),
                   (plainGame + L"\\" + KVO_BENCH_STUB_EXE).c_str(), FALSE) ||
        !CopyFileW((bin + L"\\" + KVO_BENCH_STUB_EXE).c_str(),
                   (containerGame + L"\\" + KVO_BENCH_STUB_EXE).c_str(), FALSE) ||
        !CopyFileW((bin + L"\\e2e_recorder_1_0_3_0.exe").c_str(), launcher.c_str(), FALSE))
    {
        std::fprintf(stderr, "cannot copy the programs\n");
        return 1;
    }
    if (EncodeContainer(reinterpret_cast<const uint8_t*>(document.data()),
                        static_cast<uint32_t>(document.size()), container) != 0 ||
        !WriteBytes(containerGame + L"\\title.kvo", container) ||
        !WriteBytes(plainGame + L"\\title.kvo", std::vector<uint8_t>(document.begin(), document.end())))
    {
        std::fprintf(stderr, "cannot write title.kvo\n");
        return 1;
    }
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, kLauncherKey, L"InstallFolder", REG_SZ, launcherFolder.c_str(),
                    static_cast<DWORD>((launcherFolder.size() + 1) * sizeof(wchar_t)));
    SetEnvironmentVariableW(L"KVO_E2E_RECORD", nullptr);

    const std::wstring minimal = bin + L"\\bench_minimal_launch.exe";
    const std::wstring plainStub = plainGame + L"\\" + KVO_BENCH_STUB_EXE;
    const std::wstring containerStub = containerGame + L"\\" + KVO_BENCH_STUB_EXE;
    const std::wstring minimalLine = L"\"" + minimal + L"\" " + launcher;
    // Interleaved, so that a slow spell of the machine hits every series
    // alike; the minimal program runs twice per round as its own control.
    Series series[] = {
        {"stub, plain-JSON title:", plainStub, L"\"" + plainStub + L"\"", plainGame, {}},
        {"minimal shell launch:", minimal, minimalLine, plainGame, {}},
        {"stub, container title:", containerStub, L"\"" + containerStub + L"\"", containerGame, {}},
        {"minimal shell launch (control):", minimal, minimalLine, plainGame, {}},
    };
    // One warm-up run each: the first start of a program pays for loading it.
    for (Series& one : series)
        TimeRun(one.program, one.commandLine, one.cwd);
    for (int i = 0; i < runs; ++i)
    {
        for (Series& one : series)
        {
            const double t = TimeRun(one.program, one.commandLine, one.cwd);
            if (t < 0)
            {
                std::fprintf(stderr, "a run failed\n");
                return 1;
            }
            one.times.push_back(t);
        }
    }
    RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kLauncherKey, L"InstallFolder");

    std::printf("runs (interleaved):                %d\n", runs);
    for (const Series& one : series)
        PrintSeries(one);
    PrintRatio("plain-JSON stub / minimal:", series[0], series[1]);
    PrintRatio("container stub / minimal:", series[2], series[1]);
    PrintRatio("minimal / minimal (control):", series[3], series[1]);
    return 0;
}
