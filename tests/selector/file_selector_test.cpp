// The file selector's argument record and its settings, with their stored
// form in a Config.
#include "CommonVcZq/config/config.h"
#include "CommonVcZq/selector/file_selector.h"

#include <gtest/gtest.h>

#include "test_support.h"

#include <stdlib.h>

#include <string>

#if defined(_WIN32)
#include <windows.h>
#endif

namespace {

// The settings text of `config`, its root and all.
std::string Text(Config &config) {
    unsigned int size = 0;
    char *block = config.GetAsBlock(&size);
    std::string text(block, size);
    QX_Heap::FreeMem(block);
    return text;
}

// Loads the preferences from `config`, then saves them straight back.
void LoadAndSave(Config &config) {
    LoadPrefFileSelection(config);
    SavePrefFileSelection(config);
}

TEST(FileSelectorInfo, StartsWithItsDefaultsAndCopiesItsLists) {
    FileSelectorInfo info;
    EXPECT_EQ(info.dialogType, 2);
    EXPECT_EQ(info.pathMustExist, 1);
    EXPECT_EQ(info.selectedFilterIndex, -1);
    const int flags[] = {info.showHelp,  info.center,          info.noChangeDir,     info.showReadOnly,
                         info.readOnly,  info.allowMultiSelect, info.fileMustExist, info.noNetworkButton,
                         info.filterIndex, info.selectedReadOnly};
    for (int flag : flags)
        EXPECT_EQ(flag, 0);
    EXPECT_EQ(info.titleId | info.iconId | info.okTextId | info.filterId | info.templateId | info.error, 0u);
    EXPECT_TRUE(info.owner == nullptr && info.instance == nullptr && info.iconInstance == nullptr &&
                info.userHook == nullptr);
    EXPECT_TRUE(info.title.IsEmpty() && info.filter.IsEmpty() && info.initialFile.IsEmpty());
    EXPECT_EQ(info.HasMultiSelection(), 0);

    info.selectedFiles.Append(new FileName("C:\\a.txt"));
    EXPECT_EQ(info.HasMultiSelection(), 0);
    info.selectedFiles.Append(new FileName("C:\\b.txt"));
    info.filterList.Append(new StringItem<ListElement>("Text"));
    info.title = "Open";
    FileSelectorInfo copy(info);
    EXPECT_EQ(copy.HasMultiSelection(), 1);
    info.selectedFiles.DeleteFirst();
    EXPECT_EQ(copy.selectedFiles.GetCount(), 2) << "the copy has lists of its own";
    EXPECT_STREQ(copy.selectedFiles.GetFirst()->c_str(), "C:\\a.txt");
    EXPECT_STREQ(copy.filterList.GetFirst()->c_str(), "Text");
    EXPECT_STREQ(copy.title, "Open");
    FileSelectorInfo assigned;
    assigned = copy;
    EXPECT_EQ(assigned.selectedFiles.GetCount(), 2);
    EXPECT_EQ(assigned.dialogType, 2);
}

TEST(FileSelectorSettings, AreReadBackAsSet) {
    SetFileSelectionSettings(1, 3);
    int expanded = 0;
    int32_t style = 0;
    GetFileSelectionSettings(&expanded, &style);
    EXPECT_EQ(expanded, 1);
    EXPECT_EQ(style, 3);
    SetFileSelectionSettings(0, -1);
}

TEST(FileSelectorSettings, TheExpandBitmapDeletesItsPredecessor) {
    HBITMAP first = CreateBitmap(8, 8, 1, 1, nullptr);
    HBITMAP second = CreateBitmap(8, 8, 1, 1, nullptr);
    ASSERT_TRUE(first != nullptr && second != nullptr);
    SetFileSelectorExpandBitmap(first);
    SetFileSelectorExpandBitmap(first);  // the same again: kept, not deleted
    SetFileSelectorExpandBitmap(second);
    EXPECT_FALSE(DeleteObject(first)) << "the library deleted the first bitmap";
    SetFileSelectorExpandBitmap(nullptr);
    EXPECT_FALSE(DeleteObject(second)) << "null frees the one held";
}

TEST(FileSelectorPreferences, OnAnEmptyConfigGiveTheDefaultsAndLeaveNoGroup) {
    Config config("Settings");
    SetFileSelectionSettings(1, 2);
    LoadPrefFileSelection(config);
    int expanded = 1;
    int32_t style = 0;
    GetFileSelectionSettings(&expanded, &style);
    EXPECT_EQ(expanded, 0);
    EXPECT_EQ(style, -1);
    EXPECT_EQ(config.GetCurrentKey(), config.GetRoot()) << "the position is kept";
    EXPECT_EQ(config.ExistGroup("RecentPaths"), 1);
    EXPECT_EQ(Text(config).find("RecentPaths"), std::string::npos) << "an empty group is not written";
    SavePrefFileSelection(config);
    config.MoveDown("RecentPaths");
    EXPECT_EQ(config.GetValue(0, "Style"), -1);
    EXPECT_EQ(config.ExistKey("Folder"), 0);
}

TEST(FileSelectorPreferences, FoldersLoadUpToTheFirstGapAndSaveAtMostFifteen) {
    Config config("Settings");
    config.MoveDown("App");
    config.MoveDown("RecentPaths");
    config.SetValue(3, "Style");
    config.SetValue(1, "Expanded");
    config.SetValue("C:\\zero", "Folder", 0);
    config.SetValue("C:\\one", "Folder", 1);
    config.SetValue("C:\\three", "Folder", 3);
    config.SetValue("stale", "Other");
    config.MoveUp();
    LoadAndSave(config);
    EXPECT_STREQ(config.GetCurrentKey()->name, "App");
    int expanded = 0;
    int32_t style = 0;
    GetFileSelectionSettings(&expanded, &style);
    EXPECT_EQ(expanded, 1);
    EXPECT_EQ(style, 3);
    config.MoveDown("RecentPaths");
    EXPECT_EQ(config.GetNumKeys(), 4u) << "Style, Expanded, Folder, Folder1; Folder3 and Other are gone";
    EXPECT_STREQ(config.GetFirstKey()->name, "Style");
    EXPECT_STREQ(config.GetValue("", "Folder", 1), "C:\\one");
    EXPECT_EQ(config.ExistKey("Folder", 3), 0);

    for (int i = 0; i < 16; ++i)
        config.SetValue(String(i), "Folder", i);
    config.MoveUp();
    LoadAndSave(config);
    config.MoveDown("RecentPaths");
    EXPECT_EQ(config.ExistKey("Folder", 14), 1);
    EXPECT_EQ(config.ExistKey("Folder", 15), 0) << "15 folders load and are saved";
}

TEST(FileSelectorPreferences, WithoutAutoCreateTheCallersGroupKeepsItsKeys) {
    Config config("Settings");
    config.SetValue("mine", "Folder");
    config.SetValue(7, "Style");
    config.SetAutoCreate(0);
    LoadAndSave(config);
    EXPECT_STREQ(config.GetValue("", "Folder"), "mine");
    EXPECT_EQ(config.GetValue(0, "Style"), 7);
    EXPECT_EQ(config.GetNumKeys(), 2u);
}

}  // namespace
