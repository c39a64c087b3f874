#include "file_test_support.h"

#include <stdio.h>
#include <stdlib.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include "CommonVcZq/text/messages.h"

#if !defined(_WIN32)
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
extern char **environ;
#endif

namespace fs = std::filesystem;

namespace {

// How the test process reaches a library name itself.
std::string NativeName(const std::string &name) {
#if defined(_WIN32)
    return name;
#else
    std::string native = name.compare(0, 2, "Z:") == 0 ? name.substr(2) : name;
    for (char &c : native)
        if (c == '\\')
            c = '/';
    return native;
#endif
}

#if defined(_WIN32)
intptr_t Spawn(const std::string &program, const std::string &name, int flags) {
    std::string commandLine = "\"" + LibraryName(program) + "\" \"" + name + "\" " + std::to_string(flags);
    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process = {};
    if (!CreateProcessA(nullptr, &commandLine[0], nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                        &process))
        return 0;
    CloseHandle(process.hThread);
    return reinterpret_cast<intptr_t>(process.hProcess);
}

void Reap(intptr_t process) {
    HANDLE handle = reinterpret_cast<HANDLE>(process);
    if (WaitForSingleObject(handle, 20000) != WAIT_OBJECT_0)
        TerminateProcess(handle, 1);
    CloseHandle(handle);
}
#else
intptr_t Spawn(const std::string &program, const std::string &name, int flags) {
    const std::string flagText = std::to_string(flags);
    char *const argv[] = {const_cast<char *>(program.c_str()), const_cast<char *>(name.c_str()),
                          const_cast<char *>(flagText.c_str()), nullptr};
    pid_t pid = 0;
    return posix_spawn(&pid, program.c_str(), nullptr, nullptr, argv, environ) == 0 ? pid : 0;
}

void Reap(intptr_t process) {
    const pid_t pid = static_cast<pid_t>(process);
    for (int i = 0; i < 2000; ++i) {
        if (waitpid(pid, nullptr, WNOHANG) == pid)
            return;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
}
#endif

}  // namespace

std::string LibraryName(const std::string &native) {
    std::string name = native[0] == '/' ? "Z:" + native : native;
    for (char &c : name)
        if (c == '/')
            c = '\\';
    return name;
}

std::string ReadWholeFile(const std::string &name) {
    std::ifstream in(NativeName(name), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void WriteWholeFile(const std::string &name, const std::string &bytes) {
    std::ofstream out(NativeName(name), std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

void MakeFolder(const std::string &name) {
    fs::create_directories(NativeName(name));
}

ScratchFolder::ScratchFolder(const std::string &parent) {
    static std::atomic<int> counter{0};
    const fs::path base = parent.empty() ? fs::temp_directory_path() : fs::path(NativeName(parent));
    const std::string title = "cvz_file_" +
                              std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()) +
                              "_" + std::to_string(counter++);
    const fs::path folder = base / title;
    fs::create_directories(folder);
    name = LibraryName(folder.string());
    while (name.size() > 3 && name.back() == '\\')
        name.pop_back();
}

ScratchFolder::~ScratchFolder() {
    // Read-only files stand in the way of removal on Windows.
    std::error_code error;
    const fs::path folder(NativeName(name));
    for (const auto &entry : fs::recursive_directory_iterator(folder, error))
        fs::permissions(entry.path(), fs::perms::owner_write, fs::perm_options::add, error);
    fs::remove_all(folder, error);
}

FileName ScratchFolder::operator/(const char *title) const {
    return FileName((name + "\\" + title).c_str());
}

std::string FormattedMessage(unsigned int id, const char *argument) {
    char text[1024];
    snprintf(text, sizeof text, String(FindString(id)).c_str(), argument);
    return text;
}

FileHolder::FileHolder(const FileName &name, int flags)
    : stopName(std::string(name.c_str()) + ".stop"), process(0), holding(false) {
    const std::string readyName = std::string(name.c_str()) + ".ready";
    process = Spawn(CVZ_FILE_HOLDER, name.c_str(), flags);
    if (!process)
        return;
    for (int i = 0; i < 2000 && ReadWholeFile(readyName).empty(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    holding = ReadWholeFile(readyName) == "1";
}

FileHolder::~FileHolder() {
    if (!process)
        return;
    WriteWholeFile(stopName, "stop");
    Reap(process);
}

std::string SmallDisk() {
    const char *disk = getenv("CVZ_TEST_FULL_DISK");
    if (!disk || !*disk)
        return std::string();
    const std::string name = LibraryName(disk);
    return File::Exist(FileName((name + "\\mounted").c_str())) ? name : std::string();
}
