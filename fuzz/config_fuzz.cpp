// Arbitrary bytes read as a settings text, then written and read again.
//
// The bytes are copied into a heap block of exactly their size, so that the
// address sanitizer reports any read behind it.  The tree read from them
// must be well formed: every key's parent link and Config right, and no
// empty group left.  Written out and read back, it must come back as the
// same tree, and written again as the same bytes.
//
// Two kinds of key do not come back, as the format has no way to express
// them, and a tree holding one is exempt from the round trip (it only has
// to be read and written without fault):
//  - a bare key or a group named "{": its line is taken for the brace of
//    the line before it, or swallowed behind a "}";
//  - a bare key named "}", read from the line "}=": its line closes the
//    group;
//  - a bare key whose name ends in a blank or tab, read from a line such
//    as "a =": the line "a " loses the blank when it is read.
#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <memory>
#include <string>

#include "config_fuzz_checks.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::unique_ptr<char[]> block(new char[size ? size : 1]);
    if (size)
        memcpy(block.get(), data, size);

    Config first("Fuzz");
    first.BuildFromBlock(block.get(), static_cast<unsigned int>(size));
    Check(first.GetCurrentKey() == first.GetRoot());
    const bool lossy = CheckGroup(first, *first.GetRoot());

    const std::string written = Write(first);
    Check(written.size() >= 9 && written.compare(written.size() - 3, 3, "}\r\n") == 0);
    Config second("Other");
    second.BuildFromBlock(written.data(), static_cast<unsigned int>(written.size()));
    CheckGroup(second, *second.GetRoot());
    const std::string again = Write(second);
    if (!lossy) {
        Check(second == first);
        Check(again == written);
    }

    Config copy(first);
    Check(copy == first);
    return 0;
}
