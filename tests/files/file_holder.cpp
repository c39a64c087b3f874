// The second process of the sharing tests: opens the file named by its
// first argument with the open flags of its second, writes "1" (open) or
// "0" (failed) to <name>.ready, and holds the file until <name>.stop
// appears, for at most a minute.
#include <stdlib.h>

#include <chrono>
#include <thread>

#include "CommonVcZq/files/file.h"

int main(int argc, char **argv) {
    if (argc != 3)
        return 2;
    const FileName name(argv[1]);
    File held(name, atoi(argv[2]) | File::OpenNoThrow);
    {
        File ready(FileName(String(name) + ".ready"), File::OpenCreate | File::OpenWrite);
        ready.Write(held.IsOpen() ? '1' : '0');
    }
    const FileName stop(String(name) + ".stop");
    for (int i = 0; i < 6000 && !File::Exist(stop); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return 0;
}
