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

// A folder of this process for the file, in the library's name form.
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
    const FileName name(("Z:" + path).c_str());

    Config loaded("Fuzz", name, 0, Config::Mode(mode));
    Config built("Fuzz", Config::Mode(mode));
    built.BuildFromBlock(reinterpret_cast<const char *>(data), static_cast<unsigned int>(size));
    if (mode & Config::StampFileTime) {
        // The load made the group "__System" (and left it empty) to look
        // for the stamp; empty groups go when the tree is written.
        built.MoveAbsolute("\\__System");
        built.MoveToRoot();
    }
    Check(loaded == built);
    const bool lossy = CheckGroup(loaded, *loaded.GetRoot());

    loaded.Save(name, 1);
    const std::string saved = ReadBack(path);
    Check(saved == Write(loaded));
    Config again("Other", name, 0, Config::Mode(mode));
    CheckGroup(again, *again.GetRoot());
    if (!lossy) {
        Check(again == loaded);
        Check(!(mode & Config::StampFileTime) || again.HasWrongFileTime() == 0);
    }
    return 0;
}
