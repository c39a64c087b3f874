// FileSelectorInfo and the selector's settings; see file_selector.h.
#include "platform/win32.h"

#include "CommonVcZq/selector/file_selector.h"

#include "CommonVcZq/config/config.h"
#include "selector/globals.h"

FileSelectorInfo::FileSelectorInfo()
    : dialogType(2), titleId(0), iconId(0), iconInstance(nullptr), okTextId(0), filterId(0), filterIndex(0),
      showHelp(0), center(0), noChangeDir(0), showReadOnly(0), readOnly(0), allowMultiSelect(0),
      fileMustExist(0), noNetworkButton(0), pathMustExist(1), owner(nullptr), instance(nullptr), templateId(0),
      userHook(nullptr), selectedFilterIndex(-1), selectedReadOnly(0), error(0) {}

FileSelectorInfo::FileSelectorInfo(const FileSelectorInfo &other) = default;
FileSelectorInfo &FileSelectorInfo::operator=(const FileSelectorInfo &other) = default;
FileSelectorInfo::~FileSelectorInfo() {}

int FileSelectorInfo::HasMultiSelection() const {
    return selectedFiles.GetCount() > 1;
}

void SetFileSelectionSettings(int expanded, int32_t style) {
    _fileSelectorExpanded = expanded;
    _fileSelectorViewStyle = style;
}

void GetFileSelectionSettings(int *expanded, int32_t *style) {
    *expanded = _fileSelectorExpanded;
    *style = _fileSelectorViewStyle;
}

void SetFileSelectorExpandBitmap(HBITMAP bitmap) {
    if (bitmap == _fileSelectorExpandBitmap)
        return;  // already ours: deleting it would leave a dead handle
    if (_fileSelectorExpandBitmap != nullptr)
        DeleteObject(_fileSelectorExpandBitmap);
    _fileSelectorExpandBitmap = bitmap;
}

namespace {

// Moves into the group "RecentPaths" below the current group; false when
// there is none and autoCreate is off, so that the position stayed.
bool EnterRecentPaths(Config &config) {
    ConfigKey *caller = config.GetCurrentKey();
    return config.MoveDown("RecentPaths", 0) != caller;
}

}  // namespace

void LoadPrefFileSelection(Config &config) {
    Config::PathSaver saver(config);
    delete _recentFolders;  // a second load starts afresh
    _recentFolders = new List<FileName>(1);
    if (!EnterRecentPaths(config)) {
        _fileSelectorViewStyle = -1;
        _fileSelectorExpanded = 0;
        return;
    }
    _fileSelectorViewStyle = config.GetValue(-1, "Style");
    _fileSelectorExpanded = config.GetValue(0, "Expanded");
    for (int i = 0; i < kMaxRecentFolders; ++i) {
        const String folder(config.GetValue("", "Folder", i));
        if (folder.IsEmpty())
            break;
        _recentFolders->Append(new FileName(folder));
    }
}

void SavePrefFileSelection(Config &config) {
    Config::PathSaver saver(config);
    if (EnterRecentPaths(config)) {
        config.DeleteKeys();
        config.SetValue(static_cast<int>(_fileSelectorViewStyle), "Style");
        config.SetValue(_fileSelectorExpanded, "Expanded");
        int index = 0;
        for (FileName *folder = _recentFolders != nullptr ? _recentFolders->GetFirst() : nullptr;
             folder != nullptr && index < kMaxRecentFolders; folder = _recentFolders->GetNext(folder))
            config.SetValue(*folder, "Folder", index++);
    }
    delete _recentFolders;
    _recentFolders = nullptr;
}
