// FileScanner: walks folders and picks out files by name masks.
//
// A scanner holds roots (folders to walk), masks, and what it found.  Run
// walks each root in list order, depth first: all files of a folder come
// before any of its subfolders, both in the order in which the platform
// lists them, with no sorting anywhere.  A folder whose name begins with
// "." is neither entered nor reported.  Each file that matches a mask
// (MatchFileType) goes to Filter, and when Filter lets it pass it is
// accepted: counted in acceptedCount and totalSize and delivered.  A file
// that matches two masks is accepted twice; one that Filter rejects is not
// tried on the masks behind it.
//
// Roots have two forms.  With masks given (the constructor's `fileType`,
// AddFileType), a root is a folder, with or without a '\' at the end.
// Without masks, a root carries its own: a folder, '\', then masks divided
// by '|' ("C:\src\*.cpp|*.h").  Such a root with an empty name after its
// last '\' is passed over; one whose only mask holds neither '*' nor '?'
// asks the platform for that name alone.
//
// Delivery, one of three:
//   SetFileNameList(list)       each accepted file appended to `list` as a
//                               FileName; OnFile is not called;
//   Run with keepFound set      each accepted file kept as a FoundFile,
//                               then handed to OnFile after OnEndRealScan,
//                               and readable by GetFirst and GetNext;
//   Run with keepFound 0        OnFile during the walk.
// A result of 0 from OnFile stops the walk of the root (and, after the
// walk, the delivery of kept files); non-zero from UserBreak, polled once
// for every directory entry, stops it as well.  A stop ends the present
// root only: Run goes on with the next root.  OnEndRealScan and the
// delivery of kept files follow in every case.  A folder that does not
// exist or cannot be read gives an empty walk and no report.  Exceptions
// from the hooks pass through Run, and every search on the way is closed.
//
// Paths are built in buffers of MAX_PATH (260) bytes, so a path holds at
// most 259 characters.  A folder whose name with "\" and the search
// pattern does not fit is reported by OnDirectory and gives an empty walk;
// a subfolder or file whose full name does not fit is passed over.
//
// Run resets only the delivery index: counts and kept files add up over
// runs until Reset.  A scanner is used by one thread at a time; another
// thread stops it through a flag that UserBreak returns.
#ifndef CVZ_FILES_FILE_SCANNER_H
#define CVZ_FILES_FILE_SCANNER_H

#include <stdint.h>

#include "CommonVcZq/collections/double_list.h"
#include "CommonVcZq/files/file_name.h"
#include "CommonVcZq/frame/api.h"
#include "CommonVcZq/platform/find_data.h"
#include "CommonVcZq/text/string.h"
#include "CommonVcZq/text/text_functions.h"

// The library's mask language, without case (ASCII).  A mask is walked
// against the name from the left:
//   "*"        skips the rest of the present dot-separated part in both:
//              the mask up to its next '.' (what stands between is
//              ignored), the name up to its next '.'; never crosses a '.';
//   "?"        passes one character of each; at the end of the name it
//              does not match;
//   the end    matches the end of the name only;
//   any other  must equal the name's character.
// So "*.txt" matches "a.txt" but not "a.b.txt", "*.*" needs exactly one
// dot, and "*" needs none.  A mask beginning with "<" selects by a part of
// the name: "<*..." is the mask "*..."; otherwise the text up to the first
// '.' must stand in the name's base (the part before its first '.'), and
// the rest is matched as "*" followed by the mask from its first '.' on,
// so "<rep.txt" matches "Report.txt" and "prep.txt".  Without a '.', "<rep"
// matches names that hold "rep" and no dot.  Neither text is read beyond
// its zero, and nothing is allocated.  1 for a match, else 0.
CVZ_API int MatchFileType(const char *mask, const char *fileName);

// A kept file: its full name and its find record, copied whole.
struct CVZ_API FoundFile : public ListElement {
    FoundFile(const FileName &name, const WIN32_FIND_DATAA &data) : name(name), data(data) {}
    ~FoundFile() override;

    FileName name;
    WIN32_FIND_DATAA data;
};

class CVZ_API FileScanner {
public:
    // Reset with the same arguments: one root, or several in list order.
    FileScanner(const FileName &root, const String *fileType, int keepFound, int recursive);
    FileScanner(const List<FileName> &roots, const String *fileType, int keepFound, int recursive);
    // All fields, the masks, roots and kept files copied one by one; the
    // copy's reading position stands on its own record of the same place.
    FileScanner(const FileScanner &other);
    FileScanner &operator=(const FileScanner &other);
    virtual ~FileScanner();

    // Back to a clean state: the roots become a copy of `root` (or of
    // `roots`), the masks `*fileType` alone (none for null), kept files,
    // counts, the delivery index and the reading position go.  A caller's
    // list given to SetFileNameList is not touched.
    void Reset(const FileName &root, const String *fileType, int keepFound, int recursive);
    void Reset(const List<FileName> &roots, const String *fileType, int keepFound, int recursive);

    // The walk; see above.
    void Run();
    // Appends a mask; call it after Reset and before Run.
    void AddFileType(const String &mask);
    // Run, delivering into `target`, which is not emptied first.
    void SetFileNameList(List<FileName> &target);

    // The kept files, after Run with keepFound: the first name, then the
    // next at each call; an empty text at the end and ever after.
    String GetFirst();
    String GetNext();
    // The number of kept files.
    uint32_t GetNumFile() const { return static_cast<uint32_t>(foundFiles.GetCount()); }

protected:
    // Hooks for a derived class; the defaults do nothing and let all pass.
    // Non-zero stops the walk of the present root.
    virtual int UserBreak();
    // One accepted file; `index` counts deliveries of this Run from 0.  0
    // stops.
    virtual int OnFile(const FileName &name, const WIN32_FIND_DATAA *data, uint32_t index);
    // The last word on a file that matched a mask: 0 rejects it.
    virtual int Filter(const FileName &name, const WIN32_FIND_DATAA *data);
    // A folder is about to be listed (`folder` as the walk names it).
    virtual void OnDirectory(const FileName &folder);
    // First thing in Run; after the last root, before kept files go out.
    virtual void OnStartRealScan();
    virtual void OnEndRealScan();

    uint32_t totalSize;            // sum of nFileSizeLow of all acceptances
    uint32_t acceptedCount;        // number of acceptances
    List<FileName> *targetList;    // the caller's list during SetFileNameList
    uint32_t reportIndex;          // next `index` for OnFile
    int keepFound;                 // keep accepted files as FoundFile records
    List<StringItem<ListElement>> fileTypes;  // the masks
    List<FoundFile> foundFiles;    // the kept files, owned
    List<FileName> roots;          // what to walk, owned copies
    FoundFile *cursor;             // position of GetFirst and GetNext
    int recursive;                 // subfolders are walked

private:
    // Walks `folder` with the platform's search `pattern`: 1 when it was
    // finished, 0 when the walk was stopped.
    int ScanOneDirectory(const char *folder, const char *pattern);
    // Tries the file `data` of the folder `path` (ending in '\', `length`
    // characters) on the masks and delivers it; 0 when OnFile stops.
    int OfferFile(const char *path, size_t length, const WIN32_FIND_DATAA &data);
    // Reset's work beside the roots.
    void ResetState(const String *fileType, int keepFound, int recursive);
    // Copies the kept files of `other`, with the reading position.
    void CopyFoundFiles(const FileScanner &other);
};

#endif
