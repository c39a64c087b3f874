// Messages by numeric id: the built-in English table and the lookup in a
// localised resource module.
//
// Every function here goes through LookUpMessage, which consults exactly one
// source: the resource module when the application has named one, else the
// built-in table.  A missing id gives an empty text; nothing fails.
#include "CommonVcZq/text/messages.h"

#include <stdarg.h>
#include <stdio.h>
#include <string.h>

#include "text/globals.h"
#include "platform/win32.h"

namespace {

struct MessageRow {
    unsigned int id;
    const char *text;
};

// The built-in English texts, searched in sequence; a null text ends the
// table.  The order of the rows has no meaning.
const MessageRow _messageTable[] = {
    {0x4650, "%s\nAn error occurred. This file could not be opened."},
    {0x4651, "An error occurred. The file could not be deleted."},
    {0x4652, "The program was unable to read properly %s. If this problem persists, please check the integrity of the disk, it might be damaged."},
    {0x4653, "The program was unable to write properly to this drive/partition. If this problem persists, please check the integrity of the disk, it might be damaged."},
    {0x4654, "The program was unable to seek properly on this drive/partition. If this problem persists, please check the integrity of the disk, it might be damaged."},
    {0x4655, "An error occurred. The file could not be resized."},
    {0x4656, "An error occurred. The file could not be copied."},
    {0x4657, "An unknown error occurred. The file could not be moved."},
    {0x4658, "Invalid directory name."},
    {0x4659, "This file is already in use by an application. It can therefore not be overwritten. Please use another name."},
    {0x465A, "A file with this name already exists. Do you want to make a backup of this file before saving the new one? (In the backup, the first letter in the extension will be changed to a ~)?"},
    {0x465B, "The backup file could not be created! The whole operation has been canceled and your file has not been saved!"},
    {0x465C, "File error"},
    {0x465D, "The file could not be renamed. Please make sure that the disk is not write protected and that the file is not already open."},
    {0x465E, "This disk partition could not be accessed. If it is a CD-ROM or a removable disk, make sure the disk is inserted properly."},
    {0x465F, "The partition could not be given a label. Make sure the disk is not write protected."},
    {0x4660, "%s\nAn error occurred. This file could not be created."},
    {0x4661, "An unknown error occurred. The file attributes could not be set."},
    {0x4662, "An error occurred. The directory could not be created."},
    {0x4663, "There is not enough disk space on partition %s."},
    {0x4664, "An error occurred. The file could not be uncompressed/copied."},
    {0x4665, "Unknown file error: Unable to create mapped file."},
    {0x4666, "Serious error. It is not possible to increase the database size. You must close the file now!"},
    {0x4667, "It is not possible to increase the database size. The disk is probably full."},
    {0x4668, "This file is of the wrong type."},
    {0x4669, "%s\nThis file could not be accessed. It is already in use by some other application. This application must be finished before the file can be accessed"},
    {0x466A, "File error caused by lack of space in the virtual memory file. Please increase the size of the virtual memory file in the Windows' Control Panel (Virtual Memory settings)."},
    {0, nullptr},
};

// The size of every message buffer: a text has at most 2047 characters.
const int kMessageBufferSize = 2048;

// Fills `buffer` (kMessageBufferSize bytes) with the text of `id`.  With a
// localised module named, `module` is read and nothing else, whatever it
// holds; else the built-in table.
void LookUpMessage(HMODULE module, unsigned int id, char *buffer) {
    buffer[0] = 0;
    if (_localizedStringDll) {
        LoadStringA(module, id, buffer, kMessageBufferSize - 1);
        return;
    }
    for (const MessageRow *row = _messageTable; row->text; ++row) {
        if (row->id == id) {
            strcpy(buffer, row->text);
            return;
        }
    }
}

SubString MakeSubString(const char *text) {
    return SubString::Create(text, static_cast<uint32_t>(strlen(text)));
}

}  // namespace

void NotifyLocalizedStringDll(HMODULE module) {
    _localizedStringDll = module;
}

SubString FindString(HMODULE module, unsigned int id) {
    char buffer[kMessageBufferSize];
    LookUpMessage(module, id, buffer);
    return MakeSubString(buffer);
}

SubString FindString(unsigned int id) {
    return FindString(_localizedStringDll, id);
}

char *FindString(char *buffer, unsigned int id) {
    LookUpMessage(_localizedStringDll, id, buffer);
    return buffer;
}

String *LoadAndAdoptString(int id) {
    // The object is allocated before the text is looked up, so a null from
    // the heap leaves no body behind.
    return new String(FindString(static_cast<unsigned int>(id)));
}

void AdoptString(String *&text, int id) {
    if (!text)
        text = LoadAndAdoptString(id);
}

SubString BuildString(int id, ...) {
    char format[kMessageBufferSize];
    char result[kMessageBufferSize];
    result[0] = 0;
    LookUpMessage(_localizedStringDll, static_cast<unsigned int>(id), format);
    if (format[0]) {
        va_list args;
        va_start(args, id);
        vsnprintf(result, sizeof result, format, args);
        va_end(args);
    }
    return MakeSubString(result);
}

char *BuildString(char *buffer, int id, ...) {
    char format[kMessageBufferSize];
    buffer[0] = 0;
    LookUpMessage(_localizedStringDll, static_cast<unsigned int>(id), format);
    if (format[0]) {
        va_list args;
        va_start(args, id);
        vsprintf(buffer, format, args);
        va_end(args);
    }
    return buffer;
}
