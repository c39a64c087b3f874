// FileSelectorInfo and the settings of the file selector.
//
// FileSelectorInfo is the argument record of the file selection dialog:
// the caller fills the first group of fields, the dialog fills the second.
// Fields ending in `Id` name strings of the module `instance`, looked up
// with FindString.  All fields are public; a new record holds the defaults
// noted beside each.
//
// Beside the record, a few settings outlive a single dialog and belong to
// the whole process: whether the dialog opens expanded, the view style of
// its file list, the image of its expand button and the list of recently
// used folders.  They start as "not expanded", -1 (leave the view as it
// opens), no image and no list.  They are plain variables with no lock.
//
// The stored form is a group "RecentPaths" directly below the current
// group of a Config, holding "Style", "Expanded" and the folders, newest
// first, as "Folder", "Folder1" ... "Folder14".  LoadPrefFileSelection and
// SavePrefFileSelection form a pair: load at the start of the program,
// dialogs in between (which record the folders they end in), save at the
// end.  The recent list exists only between the two.
#ifndef CVZ_SELECTOR_FILE_SELECTOR_H
#define CVZ_SELECTOR_FILE_SELECTOR_H

#include <stdint.h>

#include "CommonVcZq/collections/double_list.h"
#include "CommonVcZq/files/file_name.h"
#include "CommonVcZq/frame/api.h"
#include "CommonVcZq/platform/application.h"
#include "CommonVcZq/text/string.h"
#include "CommonVcZq/text/text_functions.h"

class Config;

class CVZ_API FileSelectorInfo {
public:
    // The caller's own hook, called for every message of the dialog after
    // the library's handling; its result is the dialog procedure's.
    typedef unsigned int (*UserHook)(FileSelectorInfo *info, HWND dialog, unsigned int message, WPARAM wParam,
                                     LPARAM lParam);

    FileSelectorInfo();
    // All fields; the lists are copied element by element.
    FileSelectorInfo(const FileSelectorInfo &other);
    FileSelectorInfo &operator=(const FileSelectorInfo &other);
    ~FileSelectorInfo();

    // 1 when more than one file was chosen.
    int HasMultiSelection() const;

    // Filled by the caller.
    int dialogType;             // 1: a save dialog; else (2) an open dialog
    String title;               // caption, when titleId is 0
    uint32_t titleId;           // caption by string id; wins over title
    uint32_t iconId;            // icon resource (low 16 bits); 0: none
    HINSTANCE iconInstance;     // module of the icon; null: `instance`
    String okText;              // OK button text; wins over okTextId
    uint32_t okTextId;          // OK button text by string id
    String filter;              // "description|mask|description|mask"
    uint32_t filterId;          // the same by string id, when filter is empty
    List<StringItem<ListElement>> filterList;  // the items, when both are empty
    int filterIndex;            // file type to start with, from 0
    String defaultExtension;    // appended by the dialog
    int showHelp;               // a help button
    int center;                 // center the dialog, unless it opens expanded
    int noChangeDir;            // leave the current directory as it was
    int showReadOnly;           // show the read-only box
    int readOnly;               // the read-only box starts checked
    int allowMultiSelect;       // several files may be chosen
    int fileMustExist;          // only existing files are accepted
    int noNetworkButton;        // no network button
    int pathMustExist;          // only existing folders (1 by default)
    HWND owner;                 // owner window
    HINSTANCE instance;         // module of strings and template; null: the program
    uint32_t templateId;        // dialog template (low 16 bits); 0: none
    UserHook userHook;          // null: none
    FileName initialFile;       // offered name; its drive and folder start the dialog
    FileName initialFolder;     // start folder when initialFile has no drive

    // Filled by the dialog.
    FileName currentFile;       // while it runs: the existing file selected now
    List<FileName> selectedFiles;  // the chosen files, full names; added to
    FileName selectedFolder;    // the folder of the chosen files
    int selectedFilterIndex;    // file type in force at the close; -1 before
    int selectedReadOnly;       // 1 when the read-only box was checked
    uint32_t error;             // the dialog's error code; 0 on a plain cancel
};

// Shows the platform's file dialog for `info`, modally on this thread, and
// puts the choice into `info`: the files, appended to selectedFiles, their
// folder, the file type and the read-only box at the close; the folder
// also heads the recent list, when one is loaded.  Non-zero when the user
// chose something; 0 on a cancel (`error` 0), on a failure (`error` the
// platform's code) and on any exception.  On a cancel or failure the
// results keep their previous values.  The caller's userHook sees every
// message of the dialog after the library's own handling.
CVZ_API int UserSelectsFile(FileSelectorInfo &info);

// The expanded state and view style (0 to 3 for the list view's low style
// bits, -1 to leave the view alone).  Any value is taken.
CVZ_API void SetFileSelectionSettings(int expanded, int32_t style);
CVZ_API void GetFileSelectionSettings(int *expanded, int32_t *style);

// The image of the expand button, owned by the library from now on.  The
// previous one, if any, is deleted with DeleteObject; null just frees it.
// The library does not free the last one at its end.
CVZ_API void SetFileSelectorExpandBitmap(HBITMAP bitmap);

// Reads the settings from the group "RecentPaths" below the current group
// of `config` and makes a new recent list of its folders ("Folder" to
// "Folder14", up to the first missing or empty one).  Missing keys give
// -1 and 0.  With autoCreate on, the group is made when missing; with it
// off and no group, the defaults are taken.  The position of `config` is
// kept.
CVZ_API void LoadPrefFileSelection(Config &config);

// Replaces the group "RecentPaths" below the current group of `config` by
// "Style", "Expanded" and at most 15 folders of the recent list, then
// releases the list: until the next load, dialogs record no folder.  With
// autoCreate off and no such group nothing is written, so that no key of
// the caller's own group is touched.  The position of `config` is kept.
CVZ_API void SavePrefFileSelection(Config &config);

#endif
