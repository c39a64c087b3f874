// FileName: a file or directory name that can stand in a list.
//
// A name is plain String text in drive-letter form ("C:\dir\file.txt"), and
// the path operations are members of String itself (GetPath, GetTitle,
// GetRelativeFileName, ...), so that any string can be taken apart as a
// name.  FileName adds the ListElement part that lets a name live in a
// List<FileName>, and orders names without regard to case, as the file
// system does.  FileName objects made with `new` live on the string heap.
//
// FileId is an empty base that marks a class as naming a file; it holds and
// offers nothing.
#ifndef CVZ_FILES_FILE_NAME_H
#define CVZ_FILES_FILE_NAME_H

#include <stdint.h>

#include "CommonVcZq/collections/double_list.h"
#include "CommonVcZq/frame/api.h"
#include "CommonVcZq/text/string.h"

class CVZ_API FileId {};

class CVZ_API FileName : public String, public FileId, public ListElement {
public:
    FileName() {}
    // Shares the body of `name`.
    FileName(const String &name) : String(name) {}
    FileName(const FileName &name) : String(name), FileId(), ListElement() {}
    FileName(const char *name) : String(name) {}
    FileName(const SubString &name) : String(name) {}
    // `path`, then AppendTitleAndMakeFullFileName(title): the name of
    // `title` in the directory `path` (on the current drive when `path`
    // has none).
    FileName(const String &path, const String &title);
    ~FileName() override;

    // Assignment takes the text and leaves the list links alone, so that a
    // name can be changed while it stands in a list.
    FileName &operator=(const FileName &name) {
        String::operator=(name);
        return *this;
    }
    FileName &operator=(const String &name) {
        String::operator=(name);
        return *this;
    }
    FileName &operator=(const SubString &name) {
        String::operator=(name);
        return *this;
    }
    FileName &operator=(const char *name) {
        String::operator=(name);
        return *this;
    }

    using String::operator new;
    using String::operator delete;

    // Orders the two texts without case, as the platform's lstrcmpiA does;
    // `other` is a FileName.  `mode` is ignored: names never compare by case.
    int32_t Compare(const CollectionElement &other, int mode) const override;
    // A new FileName on the string heap sharing this name's text; null when
    // the heap has no room.
    CollectionElement *CreateClone(const void *context) const override;

    // The directory of the program file, without an ending '\'.
    static SubString GetApplicationPath();
    // The name of `title` in that directory.
    static SubString CreateApplicationRelative(const String &title);
};

#endif
