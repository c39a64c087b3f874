// Arbitrary bytes as a settings file: Config::Load of the file, then Save
// and Load again.
//
// What Load reads from a file must be the tree that BuildFromBlock reads
// from the same bytes; Save must write exactly what GetAsBlock gives; and
// the saved file must load as the same tree, unless the tree holds a key
// that the format cannot express (config_fuzz_checks.h).  The first byte,
// when there is one, chooses the mode: the time stamp, the safe save.
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

#include "config_fuzz_checks.h"

namespace {

// The library's name of a native path: drive Z: and backslashes.
FileName LibraryName(const std::string &path) {
    std::string name = "Z:" + path;
    for (char &c : name)
        if (c == '/')
            c = '\\';
    return FileName(name.c_str());
}

// A folder of this process for the file.
const std::string &Folder() {
    static const std::string folder = [] {
        char pattern[] = "/tmp/cvz_config_fuzz_XXXXXX";
        Check(mkdtemp(pattern) != nullptr);
        return std::string(pattern);
    }();
    return folder;
}

std::string ReadBack(const std::string &path) {
    std::string text;
    FILE *f = fopen(path.c_str(), "rb");
    Check(f != nullptr);
    char buffer[4096];
    size_t got;
    while ((got = fread(buffer, 1, sizeof buffer, f)) > 0)
        text.append(buffer, got);
    fclose(f);
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const int mode = size > 0 ? (data[0] & 1 ? Config::StampFileTime : 0) | (data[0] & 2 ? Config::SafeSave : 0) : 0;
    const std::string path = Folder() + "/settings.cfg";
    FILE *f = fopen(path.c_str(), "wb");
    Check(f != nullptr);
    Check(fwrite(data, 1, size, f) == size);
    fclose(f);
    const FileName name = LibraryName(path);

    Config loaded("Fuzz", name, 0, Config::Mode(mode));
    Config built("Fuzz", Config::Mode(mode));
    built.BuildFromBlock(reinterpret_cast<const char *>(data), static_cast<unsigned int>(size));
    const bool lossy = CheckGroup(built, *built.GetRoot());
    if (mode & Config::StampFileTime) {
        // The load made the group "__System" (and left it empty) to look
        // for the stamp; empty groups go when the tree is written.
        built.MoveAbsolute("\\__System");
        built.MoveToRoot();
    }
    Check(loaded == built);

    loaded.Save(name, 1);
    const std::string saved = ReadBack(path);
    Check(saved == Write(loaded));
    // Read back without the stamp's check, which would add an empty
    // "__System" where a lossy tree lost it; the stamp is checked apart.
    Config again("Other", name, 0, Config::Mode(mode & ~Config::StampFileTime));
    CheckGroup(again, *again.GetRoot());
    if (!lossy) {
        Check(again == loaded);
        if (mode & Config::StampFileTime)
            Check(Config("Other", name, 0, Config::StampFileTime).HasWrongFileTime() == 0);
    }
    return 0;
}
