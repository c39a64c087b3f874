// Messages by numeric id.
//
// A message id turns into text from one of two sources: the string resource
// module that the application named with NotifyLocalizedStringDll, or, while
// none is named, the built-in English table (ids 18000 to 18026).  Exactly
// one source is consulted per lookup, and a missing id gives an empty text.
// Texts that hold %s are given unformatted; BuildString formats them.
#ifndef CVZ_TEXT_MESSAGES_H
#define CVZ_TEXT_MESSAGES_H

#include "CommonVcZq/frame/api.h"
#include "CommonVcZq/platform/application.h"
#include "CommonVcZq/text/string.h"

// The ids of the built-in texts.
enum : unsigned int {
    MSG_FILE_OPEN_ERROR = 18000,         // "%s\nAn error occurred. This file could not be opened."
    MSG_FILE_DELETE_ERROR = 18001,
    MSG_FILE_READ_ERROR = 18002,         // "%s": the file name
    MSG_FILE_WRITE_ERROR = 18003,
    MSG_FILE_SEEK_ERROR = 18004,
    MSG_FILE_RESIZE_ERROR = 18005,
    MSG_FILE_COPY_ERROR = 18006,
    MSG_FILE_MOVE_ERROR = 18007,
    MSG_INVALID_DIRECTORY = 18008,
    MSG_FILE_IN_USE_OVERWRITE = 18009,
    MSG_FILE_BACKUP_QUESTION = 18010,
    MSG_FILE_BACKUP_FAILED = 18011,
    MSG_FILE_ERROR = 18012,
    MSG_FILE_RENAME_ERROR = 18013,
    MSG_PARTITION_ACCESS_ERROR = 18014,
    MSG_PARTITION_LABEL_ERROR = 18015,
    MSG_FILE_CREATE_ERROR = 18016,       // "%s": the file name
    MSG_FILE_ATTRIBUTES_ERROR = 18017,
    MSG_DIRECTORY_CREATE_ERROR = 18018,
    MSG_DISK_FULL = 18019,               // "%s": the drive
    MSG_FILE_UNCOMPRESS_ERROR = 18020,
    MSG_MAPPED_FILE_ERROR = 18021,
    MSG_DATABASE_SERIOUS_ERROR = 18022,
    MSG_DATABASE_DISK_FULL = 18023,
    MSG_FILE_WRONG_TYPE = 18024,
    MSG_FILE_SHARING_ERROR = 18025,      // "%s": the file name
    MSG_VIRTUAL_MEMORY_ERROR = 18026,
};

// Names the resource module of localised messages; 0 turns back to the
// built-in table.
CVZ_API void NotifyLocalizedStringDll(HMODULE module);

// The text of `id`, read from `module` when a localised module has been
// named, else from the built-in table.
CVZ_API SubString FindString(HMODULE module, unsigned int id);
// The text of `id` from the current source.
CVZ_API SubString FindString(unsigned int id);
// The text of `id` into `buffer`, which must hold 2048 bytes.
CVZ_API char *FindString(char *buffer, unsigned int id);

// A new String with the text of `id`, on the string heap; the caller ends it
// with delete.  Null when the heap has no room for the object.
CVZ_API String *LoadAndAdoptString(int id);
// Sets a null `text` to LoadAndAdoptString(id); a set pointer stays.
CVZ_API void AdoptString(String *&text, int id);

// The text of `id` formatted with printf-style arguments; the result must
// fit 2047 characters.  An id without text gives an empty text, and the
// arguments are not read.
CVZ_API SubString BuildString(int id, ...);
// The same into `buffer`, which must be large enough for the result.
CVZ_API char *BuildString(char *buffer, int id, ...);

#endif
