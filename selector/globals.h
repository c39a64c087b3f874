// The file selector's module globals, internal to the library.  They come
// into being in frame/load_sequence.cpp, with their values at load.
#ifndef CVZ_SELECTOR_GLOBALS_H
#define CVZ_SELECTOR_GLOBALS_H

#include <stdint.h>

#include "CommonVcZq/collections/double_list.h"
#include "CommonVcZq/files/file_name.h"
#include "CommonVcZq/platform/application.h"

// The settings that outlive a dialog (selector/file_selector.h): the
// expanded state, 0 at load; the view style, -1 at load; the expand
// button's image, owned, null at load; the recent folders, an owning list
// newest first, present only between LoadPrefFileSelection and
// SavePrefFileSelection.  No lock guards them.
extern int _fileSelectorExpanded;
extern int32_t _fileSelectorViewStyle;
extern HBITMAP _fileSelectorExpandBitmap;
extern List<FileName> *_recentFolders;

// The recent list holds at most this many folders.
enum { kMaxRecentFolders = 15 };

#endif
