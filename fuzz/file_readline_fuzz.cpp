// File::ReadLine over arbitrary bytes in a file, on both roads, checked
// against a plain splitter of the same bytes.
//
// A line ends at a zero byte, LF, CR LF or a lone CR, and the end is not
// part of the line; a CR as the last byte fails the read of the byte that
// should follow it (message 0x4652).  After each line the file position
// must stand behind its end, and reading ends exactly at the end of the file.
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <string>

#include "CommonVcZq/files/file.h"
#include "CommonVcZq/frame/exception.h"

namespace {

void Check(bool condition) {
    if (!condition)
        abort();
}

// One line of the reference: its text and the offset behind its end, or
// `failed` for a CR at the very end.
struct Line {
    std::string text;
    size_t next;
    bool failed;
};

Line SplitAt(const uint8_t *data, size_t size, size_t at) {
    Line line{std::string(), at, false};
    while (line.next < size) {
        const uint8_t c = data[line.next++];
        if (c == 0 || c == '\n')
            return line;
        if (c == '\r') {
            if (line.next == size)
                line.failed = true;
            else if (data[line.next] == '\n')
                ++line.next;
            return line;
        }
        line.text += static_cast<char>(c);
    }
    return line;
}

// The one file that holds each input, in a folder of its own.
struct Scratch {
    std::string folder;
    std::string native;
    FileName name;
    Scratch() {
        char pattern[] = "/tmp/cvz_fuzz_readline_XXXXXX";
        Check(mkdtemp(pattern) != nullptr);
        folder = pattern;
        native = folder + "/input.bin";
        std::string library = "Z:" + native;
        for (char &c : library)
            if (c == '/')
                c = '\\';
        name = library.c_str();
    }
    ~Scratch() {
        unlink(native.c_str());
        rmdir(folder.c_str());
    }
};

void CheckRoad(const FileName &name, const uint8_t *data, size_t size, int road) {
    File file(name, File::OpenRead | road);
    Check(file.GetSize() == static_cast<int32_t>(size));
    size_t at = 0;
    while (at < size) {
        const Line expected = SplitAt(data, size, at);
        try {
            const String line = file.ReadLine();
            Check(!expected.failed);
            Check(line.GetLength() == expected.text.size());
            Check(memcmp(line.c_str(), expected.text.data(), expected.text.size()) == 0);
        } catch (const Exception &) {
            Check(expected.failed);
        }
        Check(file.GetPosition() == static_cast<int32_t>(expected.next));
        at = expected.next;
    }
    Check(file.ReadLine().IsEmpty());
    Check(file.GetPosition() == static_cast<int32_t>(size));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const Scratch scratch;
    FILE *out = fopen(scratch.native.c_str(), "wb");
    Check(out != nullptr);
    if (size)
        Check(fwrite(data, 1, size, out) == size);
    fclose(out);
    CheckRoad(scratch.name, data, size, 0);
    CheckRoad(scratch.name, data, size, File::OpenBufferedStream);
    return 0;
}
