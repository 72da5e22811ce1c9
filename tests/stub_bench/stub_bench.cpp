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
    FileHandle file(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
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
    if (!CreateProcessW(program.c_str(), &commandLine[0], nullptr, nullptr, FALSE, 0, nullptr, cwd.c_str(), &startup,
                        &info))
        return -1;
    KernelHandle process(info.hProcess);
    KernelHandle thread(info.hThread);
    if (WaitForSingleObject(process.Get(), 60000) != WAIT_OBJECT_0)
        return -1;
    QueryPerformanceCounter(&end);
    return 1000.0 * static_cast<double>(end.QuadPart - start.QuadPart) / static_cast<double>(frequency.QuadPart);
}

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const size_t n = values.size();
    return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}
} // namespace

int wmain(int argc, wchar_t** argv)
{
    const int runs = argc > 1 ? std::max(1, _wtoi(argv[1])) : 21;
    const std::wstring bin = BinFolder();
    const std::wstring root = bin + L"\\stub bench work";
    const std::wstring game = root + L"\\Game Folder";
    const std::wstring launcherFolder = root + L"\\Launcher Home";
    const std::wstring stub = game + L"\\" + KVO_BENCH_STUB_EXE;
    const std::wstring launcher = launcherFolder + L"\\Launcher.exe";
    CreateDirectoryW(root.c_str(), nullptr);
    CreateDirectoryW(game.c_str(), nullptr);
    CreateDirectoryW(launcherFolder.c_str(), nullptr);
    if (!CopyFileW((bin + L"\\" + KVO_BENCH_STUB_EXE).c_str(), stub.c_str(), FALSE) ||
        !CopyFileW((bin + L"\\e2e_recorder_1_0_3_0.exe").c_str(), launcher.c_str(), FALSE))
    {
        std::fprintf(stderr, "cannot copy the programs\n");
        return 1;
    }
    const std::string document =
        R"({"titleId":"BENCH","friendlyName":"Bench","principalFileName":"Game.exe","appdataFolderName":"Bench",)"
        R"("installFolderRegKey":"SOFTWARE\\Bench","installFolderRegValueName":"InstallDir","languages":["en"],)"
        R"("gamePlatform":"steam","steamAppIds":[480],"environment":"prod"})";
    std::vector<uint8_t> container;
    if (EncodeContainer(reinterpret_cast<const uint8_t*>(document.data()), static_cast<uint32_t>(document.size()),
                        container) != 0 ||
        !WriteBytes(game + L"\\title.kvo", container))
    {
        std::fprintf(stderr, "cannot write title.kvo\n");
        return 1;
    }
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, kLauncherKey, L"InstallFolder", REG_SZ, launcherFolder.c_str(),
                    static_cast<DWORD>((launcherFolder.size() + 1) * sizeof(wchar_t)));
    SetEnvironmentVariableW(L"KVO_E2E_RECORD", nullptr);

    const std::wstring minimal = bin + L"\\bench_minimal_launch.exe";
    std::vector<double> stubTimes, minimalTimes;
    // One warm-up run each: the first start of a program pays for loading it.
    TimeRun(stub, L"\"" + stub + L"\"", game);
    TimeRun(minimal, L"\"" + minimal + L"\" " + launcher, game);
    for (int i = 0; i < runs; ++i)
    {
        const double s = TimeRun(stub, L"\"" + stub + L"\"", game);
        const double m = TimeRun(minimal, L"\"" + minimal + L"\" " + launcher, game);
        if (s < 0 || m < 0)
        {
            std::fprintf(stderr, "a run failed\n");
            return 1;
        }
        stubTimes.push_back(s);
        minimalTimes.push_back(m);
    }
    RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kLauncherKey, L"InstallFolder");

    const double stubMedian = Median(stubTimes);
    const double minimalMedian = Median(minimalTimes);
    std::printf("runs (interleaved):          %d\n", runs);
    std::printf("stub to launcher exit:       median %.1f ms (min %.1f, max %.1f)\n", stubMedian,
                *std::min_element(stubTimes.begin(), stubTimes.end()),
                *std::max_element(stubTimes.begin(), stubTimes.end()));
    std::printf("minimal shell launch:        median %.1f ms (min %.1f, max %.1f)\n", minimalMedian,
                *std::min_element(minimalTimes.begin(), minimalTimes.end()),
                *std::max_element(minimalTimes.begin(), minimalTimes.end()));
    std::printf("ratio stub / minimal:        %.3f\n", stubMedian / minimalMedian);
    // Less sensitive to other load on the machine than the medians.
    std::printf("ratio of the minimums:       %.3f\n", *std::min_element(stubTimes.begin(), stubTimes.end()) /
                                                        *std::min_element(minimalTimes.begin(), minimalTimes.end()));
    return 0;
}
