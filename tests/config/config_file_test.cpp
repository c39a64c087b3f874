// Settings files: Load and Save on disk, the time stamp, the constructor's
// load and the destructor's save, path list files, the failures that stay
// quiet or pass on, and what each kind of save leaves on a full disk.
#include <gtest/gtest.h>

#include <stdio.h>

#include <memory>
#include <string>

#include "CommonVcZq/config/config.h"
#include "CommonVcZq/frame/heap.h"
#include "CommonVcZq/text/messages.h"
#include "file_test_support.h"

namespace {

// The example tree: Settings with Width=640, and Panel holding Title=My
// View, the bare key Pinned and the empty group Spare.
void Fill(Config &config) {
    config.MoveToRoot();
    config.SetValue(640, "Width");
    config.MoveDown("Panel", 0);
    config.SetValue("My View", "Title");
    config.CreateKey("Pinned");
    config.MoveDown("Spare", 0);
    config.MoveToRoot();
}

const char kExample[] = "Settings\r\n{\r\n\tWidth=640\r\n\tPanel\r\n\t{\r\n\t\tTitle=My View\r\n"
                        "\t\tPinned\r\n\t}\r\n}\r\n";

std::string Title(Config &config) {
    config.MoveAbsolute("\\Panel");
    return String(config.GetValue("", "Title")).c_str();
}

class ConfigFile : public ::testing::Test {
protected:
    ScratchFolder folder;
};

TEST_F(ConfigFile, SaveWritesTheFormatAndLoadReadsIt) {
    const FileName name = folder / "settings.cfg";
    Config written("Settings");
    Fill(written);
    written.Save(name, 1);
    EXPECT_EQ(kExample, ReadWholeFile(name.c_str()));
    EXPECT_EQ(written.GetRoot(), written.GetCurrentKey());

    Config read("Other");
    read.CreateKey("stale");
    read.Load(name);
    EXPECT_STREQ("Settings", read.GetName().c_str());
    EXPECT_EQ(0, read.ExistKey("stale", 0));
    EXPECT_EQ("My View", Title(read));
    EXPECT_STREQ("", read.GetFileName().c_str());
}

TEST_F(ConfigFile, ConstructorLoadsAndDestructorSaves) {
    const FileName name = folder / "auto.cfg";
    WriteWholeFile(name.c_str(), kExample);
    {
        Config config("Ignored", name, 1);
        EXPECT_STREQ("Settings", config.GetName().c_str());
        config.MoveAbsolute("\\Panel");
        config.SetValue("Changed", "Title");
    }
    Config again("x", name, 0);
    EXPECT_EQ("Changed", Title(again));
    again.SetValue("Not saved", "Title");
    // autoSave off: the file keeps what it had.
}

TEST_F(ConfigFile, TimeStamp) {
    const FileName name = folder / "stamped.cfg";
    {
        Config config("Settings", Config::StampFileTime);
        Fill(config);
        config.Save(name, 1);
    }
    Config loaded("x", name, 0, Config::StampFileTime);
    EXPECT_EQ(0, loaded.HasWrongFileTime());
    EXPECT_STREQ("__System", loaded.GetCurrentKey()->name.c_str());
    EXPECT_EQ(8, loaded.GetBinarySize("config"));

    // Written by something else: the times differ.
    WriteWholeFile(name.c_str(), ReadWholeFile(name.c_str()));
    FILETIME later = {0x1000, 0x01E00000};
    File::SetDateTime(name, nullptr, nullptr, &later);
    loaded.Load(name);
    EXPECT_EQ(1, loaded.HasWrongFileTime());

    // A file that never held a stamp: wrong, and the empty group appears.
    const FileName plain = folder / "plain.cfg";
    WriteWholeFile(plain.c_str(), kExample);
    Config unstamped("x", plain, 0, Config::StampFileTime);
    EXPECT_EQ(1, unstamped.HasWrongFileTime());
    unstamped.MoveToRoot();
    EXPECT_EQ(1, unstamped.ExistGroup("__System", 0));
}

TEST_F(ConfigFile, LoadFailuresAreQuietUnlessTheFileMustExist) {
    Config config("Kept");
    config.SetValue(1, "key");
    config.Load(FileName(folder.Name().c_str()));  // a folder
    config.Load(folder / "missing.cfg");
    config.Load(FileName(""));
    EXPECT_EQ(1, config.ExistValue("key", 0));

    Config strict("Kept", Config::MustExist);
    strict.Load(FileName(""));  // an empty name is never a failure
    try {
        strict.Load(FileName(folder.Name().c_str()));
        ADD_FAILURE() << "no failure";
    } catch (const char *text) {
        EXPECT_STREQ("", text);
    }
    EXPECT_THROW(Config("x", folder / "missing.cfg", 1, Config::MustExist), const char *);

    // An empty file is a tree without keys; a cut file gives what it holds.
    const FileName empty = folder / "empty.cfg";
    WriteWholeFile(empty.c_str(), "");
    config.Load(empty);
    EXPECT_EQ(0u, config.GetNumKeys());
    EXPECT_STREQ("Kept", config.GetName().c_str());
    const FileName cut = folder / "cut.cfg";
    WriteWholeFile(cut.c_str(), std::string(kExample).substr(0, 54));  // inside Panel, after Title
    config.Load(cut);
    EXPECT_EQ("My View", Title(config));
    EXPECT_EQ(0, config.ExistKey("Pinned", 0));
}

TEST_F(ConfigFile, SaveFailuresPassOnOnlyWhenAsked) {
    Config config("Settings");
    Fill(config);
    const FileName missing = folder / "none\\settings.cfg";
    config.Save(missing, 0);
    ExpectFailure([&] { config.Save(missing, 1); }, FormattedMessage(MSG_FILE_CREATE_ERROR, missing.c_str()), 3);

    const FileName locked = folder / "locked.cfg";
    WriteWholeFile(locked.c_str(), "old");
    File::SetAttributes(locked, File::AttrReadOnly);
    if (RunningUnderWine()) {
        File probe(locked, File::OpenWrite | File::OpenNoThrow);
        if (probe.IsOpen())
            GTEST_SKIP() << "wine keeps read-only as permission bits, which root passes by";
    }
    config.Save(locked, 0);
    ExpectFailure([&] { config.Save(locked, 1); }, FormattedMessage(MSG_FILE_CREATE_ERROR, locked.c_str()), 5);
    // The safe save refuses it too, on opening it for writing.
    Config safe("Settings", Config::SafeSave);
    ExpectFailure([&] { safe.Save(locked, 1); }, FormattedMessage(MSG_FILE_OPEN_ERROR, locked.c_str()), 5);
    EXPECT_EQ("old", ReadWholeFile(locked.c_str()));

    // With the stamp, a bare name has no folder for the temporary file.
    Config stamped("Settings", Config::StampFileTime);
    ExpectFailure([&] { stamped.Save(FileName("bare.cfg"), 1); }, FormattedMessage(MSG_INVALID_DIRECTORY), 0);
}

TEST_F(ConfigFile, PathLists) {
    Config config("Settings");
    Fill(config);
    const FileName name = folder / "paths.txt";
    config.SaveAsPathList(name);
    EXPECT_EQ("Width\r\nPanel\\Title\r\nPanel\\Pinned\r\n", ReadWholeFile(name.c_str()));
    Config back("Settings");
    back.LoadFromPathList(name);
    EXPECT_EQ(Title(back), "");
    EXPECT_EQ(1, back.ExistValue("Pinned", 0));
    WriteWholeFile(name.c_str(), "");
    EXPECT_THROW(back.LoadFromPathList(name), Exception);
}

// On a full disk the save in place has already emptied the file when the
// write fails; the safe save leaves the old file as it was.
using FullDiskSettings = ConfigFile;

TEST_F(FullDiskSettings, InPlaceLosesTheFileSafeSaveKeepsIt) {
    if (SmallDisk().empty())
        GTEST_SKIP() << "no small disk is mounted";
    ScratchFolder full(SmallDisk());
    Config small("Settings");
    Fill(small);
    for (int mode : {0, int(Config::SafeSave)}) {
        Config big("Settings", Config::Mode(mode));
        Fill(big);
        big.MoveDown("Bulk", 0);
        for (int i = 0; i < 4000; ++i)
            big.SetValue(std::string(60, 'x').c_str(), "Line", i);
        unsigned int bigSize = 0;
        QX_Heap::FreeMem(big.GetAsBlock(&bigSize));

        const FileName name = full / (mode ? "safe.cfg" : "in-place.cfg");
        small.Save(name, 1);
        const std::string before = ReadWholeFile(name.c_str());
        // Fill the disk to the last byte.
        {
            File filler(full / "filler", File::OpenCreate);
            const std::string chunk(4096, 'f');
            try {
                for (;;)
                    filler.Write(chunk.data(), uint32_t(chunk.size()));
            } catch (const Exception &) {
            }
            try {
                for (;;)
                    filler.Write("f", 1);
            } catch (const Exception &) {
            }
        }
        if (mode) {
            ExpectFailure([&] { big.Save(name, 1); },
                          FormattedMessage(MSG_DISK_FULL, String(name.GetDrive()).c_str()));
        } else {
            // Windows counts a write that came up short as done, so the
            // save in place may not even report the loss.
            try {
                big.Save(name, 1);
            } catch (const Exception &) {
            }
        }
        const std::string after = ReadWholeFile(name.c_str());
        printf("%s save onto a full disk: %zu bytes before, %zu bytes after (the new text: %u)\n",
               mode ? "safe" : "in-place", before.size(), after.size(), bigSize);
        RecordProperty(mode ? "safe_bytes_after" : "in_place_bytes_after", int(after.size()));
        if (mode)
            EXPECT_EQ(before, after);
        else
            EXPECT_NE(before, after);
        File::Delete(full / "filler");
    }
}

}  // namespace
