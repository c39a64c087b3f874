// Random walks of virtual pointers on a MultiFileBuffer over one generated
// file, with plain and mapped channels, every element read compared with
// the file's bytes and every pointer's offset with the walker's own count.
//
// The input's first bytes choose the table and each channel's segment (kind,
// start, size, element and unit sizes, window size); the rest is a list of
// moves, three bytes each: the channel, the direction, and the step.  A
// move that would leave the segment is skipped.
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <string>

#include "CommonVcZq/files/file_cache.h"
#include "CommonVcZq/files/multi_file_buffer.h"

namespace {

const int32_t kFileSize = 600000;

void Check(bool condition) {
    if (!condition)
        abort();
}

// The file, its bytes, and its three ways of being read; made once.
struct Scratch {
    std::string folder, native, bytes;
    FileName name;
    FileCacheManager manager{4, 65536};
    File *plain = nullptr;
    File *cached = nullptr;
    MappedFile *mapped = nullptr;

    Scratch() {
        char pattern[] = "/tmp/cvz_fuzz_multibuffer_XXXXXX";
        Check(mkdtemp(pattern) != nullptr);
        folder = pattern;
        native = folder + "/data.bin";
        bytes.resize(kFileSize);
        uint32_t x = 1;
        for (char &c : bytes) {
            x = x * 1103515245u + 12345u;
            c = static_cast<char>(x >> 23);
        }
        FILE *out = fopen(native.c_str(), "wb");
        Check(out && fwrite(bytes.data(), 1, bytes.size(), out) == bytes.size());
        fclose(out);
        std::string library = "Z:" + native;
        for (char &c : library)
            if (c == '/')
                c = '\\';
        name = library.c_str();
        plain = new File(name, File::OpenRead);
        cached = new File(name, File::OpenRead, manager);
        mapped = new MappedFile(name, File::OpenRead, 0);
    }
    ~Scratch() {
        delete mapped;
        delete cached;
        delete plain;
        unlink(native.c_str());
        rmdir(folder.c_str());
    }
};

struct Reader {
    const uint8_t *data;
    size_t size;
    uint32_t Next(uint32_t limit) {  // 0 .. limit - 1
        if (!size)
            return 0;
        --size;
        return *data++ % limit;
    }
};

struct Channel {
    int32_t start, end, elementSize, offset;
    void *pointer;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static Scratch scratch;
    Reader in{data, size};
    const int numChannels = static_cast<int>(in.Next(3)) + 1;
    MultiFileBuffer buffer(numChannels, numChannels + 1 + static_cast<int32_t>(in.Next(4)));
    Channel channels[3];
    for (int i = 0; i < numChannels; ++i) {
        Channel &c = channels[i];
        const uint32_t kind = in.Next(3);
        c.elementSize = static_cast<int32_t>(in.Next(16)) + 1;
        const int32_t perUnit = static_cast<int32_t>(in.Next(8)) + 1;
        const int32_t unit = perUnit * c.elementSize;
        c.start = static_cast<int32_t>(in.Next(256)) * 997;
        int32_t length = kFileSize - c.start - static_cast<int32_t>(in.Next(256)) * 331;
        length -= length % unit;  // windows end on units
        Check(length >= unit);
        c.end = c.start + length;
        const int32_t window = static_cast<int32_t>(in.Next(64)) * 3001;
        if (kind == 2)
            MappedBufferedFile::Register(buffer, i, *scratch.mapped, c.start, length, perUnit, c.elementSize,
                                         window, 0);
        else
            ClassicBufferedFile::Register(buffer, i, kind ? *scratch.cached : *scratch.plain, c.start, length,
                                          perUnit, c.elementSize, window ? window : 1, 0);
        c.offset = c.start;
        c.pointer = buffer.GetVirtualPointer(c.offset, i);
    }
    while (in.size) {
        const int i = static_cast<int>(in.Next(static_cast<uint32_t>(numChannels)));
        const int forward = in.Next(2) == 0;
        const uint32_t unit = in.Next(256);
        const int32_t step = static_cast<int32_t>(unit & 0x80 ? (unit & 0x7F) * 4099 : unit);
        Channel &c = channels[i];
        char *p = static_cast<char *>(c.pointer);
        if (forward) {
            if (c.offset + step + c.elementSize > c.end)
                continue;
            c.offset += step;
            c.pointer = p + step;
            buffer.ValidateVirtualPointer(&c.pointer, i);
            Check(memcmp(c.pointer, &scratch.bytes[c.offset], c.elementSize) == 0);
        } else {
            if (c.offset - step - c.elementSize < c.start)
                continue;
            c.offset -= step;
            c.pointer = p - step;
            buffer.ValidateVirtualPointerBackward(&c.pointer, i);
            Check(memcmp(static_cast<char *>(c.pointer) - c.elementSize,
                         &scratch.bytes[c.offset - c.elementSize], c.elementSize) == 0);
        }
        Check(buffer.VirtualPointerToFileOffset(c.pointer, i) == c.offset);
    }
    return 0;
}
