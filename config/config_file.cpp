// Settings files: Load and Save of the text format, the time stamp in
// "__System", the safe save, and the path list files.
//
// A load reads the whole file into one block and builds the tree from it;
// a save writes the whole block with one write.  The stamp is the
// last-write time that the file gets: Save takes it from a temporary file
// made in the same folder just before (so it is the file system's own
// clock, with its own precision), stores it, writes, and sets the file's
// times to it.
//
// The safe save writes the new text to a fresh file beside the old one,
// flushes it to the disk, and then replaces the old file with it in one
// step (MoveFileExA with MOVEFILE_REPLACE_EXISTING and
// MOVEFILE_WRITE_THROUGH): at every moment the name holds either the old
// text or the new one, whole.  The old file must be one that could be
// written in place (not read-only, not held by another without sharing),
// so both kinds of save refuse the same files; the safe save finds out by
// opening the old file for writing, so its failure is that of an open
// (0x4650 or 0x4669) where the save in place reports that of a create
// (0x4660).
#include <string.h>

#include "CommonVcZq/config/config.h"
#include "CommonVcZq/files/file.h"
#include "CommonVcZq/frame/exception.h"
#include "CommonVcZq/frame/heap.h"
#include "CommonVcZq/text/messages.h"
#include "platform/win32.h"

namespace {

const char kSystemGroup[] = "\\__System";
const char kStampName[] = "config";

// Frees a block from QX_Heap when it goes out of scope.
struct Block {
    ~Block() { QX_Heap::FreeMem(data); }
    char *data = nullptr;
};

// Writes `size` bytes of `data` to `file`, and the times `times` (the
// stamp) when given.
void WriteWhole(File &file, const char *data, unsigned int size, FILETIME *times) {
    file.Write(data, size);
    if (times)
        file.SetDateTime(&times[0], &times[1], &times[2]);
}

// The safe save: a new file in the folder of `name`, flushed, then moved
// over `name`.  The new file goes again on any failure.
void SaveReplacing(const FileName &name, const char *data, unsigned int size, FILETIME *times) {
    // Refuse what the save in place refuses.
    if (File::Exist(name, File::TypeFile))
        File(name, File::OpenWrite | File::ShareRead).Close();
    File fresh(FileName(name.GetPath()), File::OpenTempName | File::OpenWrite);
    try {
        // The whole length first: a disk without room for it fails here,
        // as the full disk, and the write cannot come up short.
        fresh.SetSize(static_cast<int32_t>(size));
        fresh.SeekStart();
        WriteWhole(fresh, data, size, times);
        fresh.Flush();
        fresh.Close();
        if (!MoveFileExA(fresh.GetName().c_str(), name.c_str(),
                         MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
            ExceptionThrower(0).SetAndThrow(ResMess(MSG_FILE_RENAME_ERROR), GetLastError());
    } catch (...) {
        fresh.Close();
        File::Delete(fresh.GetName(), 0, 1);
        throw;
    }
}

}  // namespace

void Config::Load(const FileName &file) {
    if (file.IsEmpty())
        return;
    int loaded = 0;
    try {
        if (File::Exist(file, File::TypeFile)) {
            File in(file, File::OpenRead | File::ShareReadWrite);
            const int32_t size = in.GetSize();
            Block block;
            // One byte at least, so that an empty file, too, builds a tree.
            block.data = static_cast<char *>(QX_Heap::GetDefault().Alloc(size > 0 ? size : 1, 0));
            in.Read(block.data, size, 1, nullptr);
            BuildFromBlock(block.data, static_cast<unsigned int>(size));
            if (mode & StampFileTime) {
                FILETIME written = {};
                in.GetDateTime(nullptr, nullptr, &written);
                MoveAbsolute(kSystemGroup);
                unsigned char stamp[sizeof written];
                const int32_t got = GetBinary(stamp, nullptr, sizeof stamp, kStampName);
                wrongFileTime = got != sizeof stamp || memcmp(stamp, &written, sizeof stamp) != 0;
            }
            loaded = 1;
        }
    } catch (...) {
    }
    if (!loaded && (mode & MustExist))
        throw "";
}

void Config::Save(const FileName &file, int rethrow) {
    if (file.IsEmpty())
        return;
    try {
        FILETIME times[3];
        const bool stamp = (mode & StampFileTime) != 0;
        if (stamp) {
            File probe(FileName(file.GetPath()), File::OpenTempName | File::DeleteOnCloseBySystem);
            probe.GetDateTime(&times[0], &times[1], &times[2]);
            MoveAbsolute(kSystemGroup);
            SetBinary(&times[2], sizeof times[2], kStampName);
        }
        unsigned int size = 0;
        Block block;
        block.data = GetAsBlock(&size);
        if (mode & SafeSave) {
            SaveReplacing(file, block.data, size, stamp ? times : nullptr);
        } else {
            File out(file, File::OpenCreate);
            WriteWhole(out, block.data, size, stamp ? times : nullptr);
        }
    } catch (...) {
        if (rethrow)
            throw;
    }
}

void Config::SaveAsPathList(const FileName &file) {
    List<StringItem<ListElement>> paths;
    GetAsPathList(paths);
    File::WriteLines(file, paths, 0);
}

void Config::LoadFromPathList(const FileName &file) {
    List<StringItem<ListElement>> paths;
    File::ReadLines(file, paths, 1, 1);
    BuildFromPathList(paths);
}
