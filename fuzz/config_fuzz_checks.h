// The checks that the settings fuzz targets share: a tree read from any
// bytes must be well formed, and the keys that the text format cannot
// express are told apart, since a tree holding one is exempt from the
// round trip (see config_fuzz.cpp).
#ifndef CVZ_FUZZ_CONFIG_FUZZ_CHECKS_H
#define CVZ_FUZZ_CONFIG_FUZZ_CHECKS_H

#include <stdlib.h>
#include <string.h>

#include <string>

#include "CommonVcZq/config/config.h"

inline void Check(bool condition) {
    if (!condition)
        abort();
}

// A key whose line does not read back as that key.
inline bool IsLostInWriting(const ConfigKey &key) {
    const String &name = key.name;
    if (key.IsValue() && !key.value.IsEmpty())
        return false;
    const char last = name.GetLastChar();
    if (strcmp(name.c_str(), "{") == 0)
        return true;
    return key.IsValue() && (strcmp(name.c_str(), "}") == 0 || last == ' ' || last == '\t');
}

// Checks the links below `group` and tells whether a key that is lost in
// writing stands there.
inline bool CheckGroup(const Config &config, const ConfigKey &group) {
    bool lossy = false;
    Check(group.children->GetCompareMode() == 0);
    for (const ConfigKey *k = static_cast<ConfigKey *>(group.children->GetFirst()); k; k = k->GetNext()) {
        Check(k->parent == &group && k->config == &config);
        Check(!k->name.IsEmpty());
        lossy |= IsLostInWriting(*k);
        if (k->IsGroup()) {
            Check(!k->children->IsEmpty());
            lossy |= CheckGroup(config, *k);
        }
    }
    return lossy;
}

inline std::string Write(Config &config) {
    unsigned int size = 0;
    char *block = config.GetAsBlock(&size);
    Check(block != nullptr);
    std::string text(block, size);
    QX_Heap::FreeMem(block);
    return text;
}

#endif
