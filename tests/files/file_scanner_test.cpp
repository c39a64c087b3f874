// FileScanner on real folders, and its mask language.
#include "CommonVcZq/files/file_scanner.h"

#include <gtest/gtest.h>

#include "temp_folder.h"
#include "test_support.h"

#include <string.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#if !defined(_WIN32)
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace {

TEST(MatchFileType, FollowsTheMaskLanguage) {
    struct Case {
        const char *mask, *name;
        int match;
    } const cases[] = {
        {"*.txt", "a.txt", 1},       {"*.txt", "A.TXT", 1},      {"*.txt", "a.b.txt", 0},
        {"*.txt", "a.txt.bak", 0},   {"*.*", "a.txt", 1},        {"*.*", "abc", 0},
        {"*.*", "a.b.c", 0},         {"*", "abc", 1},            {"*", "a.txt", 0},
        {"a*z.txt", "abc.txt", 1},   {"a?c", "abc", 1},          {"a?c", "aXc", 1},
        {"a?c", "ac", 0},            {"ab?", "ab", 0},           {"", "", 1},
        {"", "a", 0},                {"<rep.txt", "Report.txt", 1}, {"<rep.txt", "prep.txt", 1},
        {"<rep.txt", "Report.doc", 0}, {"<rep.txt", "a.rep.txt", 0}, {"<*.txt", "a.txt", 1},
        {"<*.txt", "a.b.txt", 0},    {"<.txt", "x.txt", 1},      {"<rep", "report", 1},
        {"<rep", "report.txt", 0},   {"<", "", 1},               {"*.", "a.", 1},
    };
    for (const Case &c : cases)
        EXPECT_EQ(MatchFileType(c.mask, c.name), c.match) << '"' << c.mask << "\" on \"" << c.name << '"';
}

// A scanner that records what it sees.  The hooks it calls out to are set
// by each test.
class Recorder : public FileScanner {
public:
    using FileScanner::FileScanner;

    std::function<int(const std::string &)> filter = [](const std::string &) { return 1; };
    std::function<int(uint32_t)> onFile = [](uint32_t) { return 1; };
    std::function<void(const std::string &)> onDirectory = [](const std::string &) {};
    int breakAfter = -1;  // polls of UserBreak that return 0; -1: never break

    std::vector<std::string> files;    // delivered names, by title
    std::vector<uint32_t> indexes;     // their indexes
    std::vector<std::string> folders;  // OnDirectory, by title
    std::vector<std::string> filtered;
    int polls = 0, starts = 0, ends = 0;

    uint32_t TotalSize() const { return totalSize; }
    uint32_t AcceptedCount() const { return acceptedCount; }

protected:
    int UserBreak() override { return breakAfter >= 0 && polls++ >= breakAfter; }
    int OnFile(const FileName &name, const WIN32_FIND_DATAA *data, uint32_t index) override {
        EXPECT_STREQ(String(name.GetTitle(1)).c_str(), data->cFileName);
        files.push_back(String(name.GetTitle(1)).c_str());
        indexes.push_back(index);
        return onFile(index);
    }
    int Filter(const FileName &name, const WIN32_FIND_DATAA *) override {
        filtered.push_back(String(name.GetTitle(1)).c_str());
        return filter(filtered.back());
    }
    void OnDirectory(const FileName &folder) override {
        folders.push_back(String(folder.GetTitle(1)).c_str());
        onDirectory(folder.c_str());
    }
    void OnStartRealScan() override { ++starts; }
    void OnEndRealScan() override { ++ends; }
};

std::vector<std::string> Sorted(std::vector<std::string> names) {
    std::sort(names.begin(), names.end());
    return names;
}

// A tree of its own for each test:
//   root: a.txt (10 bytes), b.doc (20), c.txt (30), noext
//   root\sub: d.txt (40), deep\e.txt (50)
//   root\.hidden: f.txt
class Scan : public TempFolderTest {
protected:
    void SetUp() override {
        TempFolderTest::SetUp();
        fs::create_directories(folder / "sub" / "deep");
        fs::create_directories(folder / ".hidden");
        WriteFile(folder / "a.txt", 10);
        WriteFile(folder / "b.doc", 20);
        WriteFile(folder / "c.txt", 30);
        WriteFile(folder / "noext", 1);
        WriteFile(folder / "sub" / "d.txt", 40);
        WriteFile(folder / "sub" / "deep" / "e.txt", 50);
        WriteFile(folder / ".hidden" / "f.txt", 60);
        root = WindowsName(folder);
    }

    std::string root;
};

TEST_F(Scan, WalksDepthFirstWithFilesBeforeSubfoldersAndSkipsDotFolders) {
    const String mask("*.txt");
    Recorder scanner(FileName(root.c_str()), &mask, 0, 1);
    scanner.Run();
    ASSERT_EQ(scanner.files.size(), 4u);
    EXPECT_EQ(Sorted({scanner.files[0], scanner.files[1]}), (std::vector<std::string>{"a.txt", "c.txt"}));
    EXPECT_EQ(scanner.files[2], "d.txt");
    EXPECT_EQ(scanner.files[3], "e.txt");
    EXPECT_EQ(scanner.indexes, (std::vector<uint32_t>{0, 1, 2, 3}));
    EXPECT_EQ(scanner.folders, (std::vector<std::string>{folder.filename().string(), "sub", "deep"}));
    EXPECT_EQ(scanner.TotalSize(), 10u + 30 + 40 + 50);
    EXPECT_EQ(scanner.AcceptedCount(), 4u);
    EXPECT_EQ(scanner.starts, 1);
    EXPECT_EQ(scanner.ends, 1);

    Recorder flat(FileName(root.c_str()), &mask, 0, 0);
    flat.Run();
    EXPECT_EQ(Sorted(flat.files), (std::vector<std::string>{"a.txt", "c.txt"}));
    flat.Run();
    EXPECT_EQ(flat.AcceptedCount(), 4u) << "a second Run adds to the counts";
    EXPECT_EQ(flat.indexes.back(), 1u) << "and starts its indexes again";
}

TEST_F(Scan, ARootWithItsOwnMasksAndOneWithATrailingBackslash) {
    Recorder own(FileName((root + "\\*.doc|noext|*.xyz").c_str()), nullptr, 0, 1);
    own.Run();
    EXPECT_EQ(Sorted(own.files), (std::vector<std::string>{"b.doc", "noext"}));

    Recorder literal(FileName((root + "\\C.TXT").c_str()), nullptr, 0, 1);
    literal.Run();
    EXPECT_EQ(literal.files, (std::vector<std::string>{"c.txt"})) << "the name alone, without case";

    Recorder bare(FileName((root + "\\").c_str()), nullptr, 0, 1);
    bare.Run();
    EXPECT_TRUE(bare.files.empty() && bare.folders.empty()) << "an empty name: passed over in silence";
    EXPECT_EQ(bare.ends, 1);

    const String mask("*.txt");
    Recorder withMask(FileName((root + "\\").c_str()), &mask, 0, 0);
    withMask.Run();
    EXPECT_EQ(Sorted(withMask.files), (std::vector<std::string>{"a.txt", "c.txt"}));
    EXPECT_EQ(withMask.folders.size(), 1u);
}

TEST_F(Scan, AFileThatMatchesTwoMasksIsAcceptedTwiceUnlessFilterRejectsIt) {
    const String mask("*.txt");
    Recorder scanner(FileName(root.c_str()), &mask, 0, 0);
    scanner.AddFileType("a*.txt");
    scanner.Run();
    EXPECT_EQ(std::count(scanner.files.begin(), scanner.files.end(), "a.txt"), 2);
    EXPECT_EQ(scanner.TotalSize(), 10u + 10 + 30);
    EXPECT_EQ(scanner.indexes.size(), 3u);

    Recorder rejecting(scanner);  // a copy has the masks, roots and counts too
    EXPECT_EQ(rejecting.TotalSize(), 50u);
    rejecting.files.clear();
    rejecting.filtered.clear();
    rejecting.Reset(FileName(root.c_str()), &mask, 0, 0);
    rejecting.AddFileType("a*.txt");
    rejecting.filter = [](const std::string &name) { return name != "a.txt"; };
    rejecting.Run();
    EXPECT_EQ(rejecting.files, (std::vector<std::string>{"c.txt"}));
    EXPECT_EQ(std::count(rejecting.filtered.begin(), rejecting.filtered.end(), "a.txt"), 1)
        << "not tried on the second mask";
    EXPECT_EQ(rejecting.TotalSize(), 30u);
    EXPECT_EQ(rejecting.AcceptedCount(), 1u);
}

TEST_F(Scan, KeptFilesAndTheCallersListAreTheOtherTwoDeliveries) {
    const String mask("*.txt");
    Recorder keeping(FileName(root.c_str()), &mask, 1, 1);
    keeping.onFile = [](uint32_t index) { return index == 0; };  // stops at the second record
    keeping.Run();
    EXPECT_EQ(keeping.files.size(), 2u);
    EXPECT_EQ(keeping.GetNumFile(), 4u) << "the walk was over before the delivery";
    std::vector<std::string> kept;
    for (String name = keeping.GetFirst(); !name.IsEmpty(); name = keeping.GetNext())
        kept.push_back(String(name.GetTitle(1)).c_str());
    EXPECT_EQ(kept.size(), 4u);
    EXPECT_TRUE(String(keeping.GetNext()).IsEmpty()) << "the end stays the end";

    Recorder copy(keeping);
    EXPECT_EQ(copy.GetNumFile(), 4u);
    EXPECT_STREQ(copy.GetFirst(), keeping.GetFirst());

    List<FileName> target;
    target.Append(new FileName("C:\\already.there"));
    Recorder listing(FileName(root.c_str()), &mask, 1, 1);
    listing.SetFileNameList(target);
    EXPECT_EQ(target.GetCount(), 5) << "appended to what the list held";
    EXPECT_TRUE(listing.files.empty());
    EXPECT_EQ(listing.GetNumFile(), 0u);
    EXPECT_EQ(listing.filtered.size(), 4u);
}

TEST_F(Scan, UserBreakFromTheStartHandlesOneEntryOfEachRoot) {
    List<FileName> roots;
    roots.Append(new FileName(root.c_str()));
    roots.Append(new FileName((root + "\\sub").c_str()));
    const String mask("*.*");
    Recorder scanner(roots, &mask, 0, 1);
    scanner.breakAfter = 0;
    scanner.Run();
    EXPECT_EQ(scanner.polls, 2) << "one entry of each root";
    EXPECT_LE(scanner.files.size(), 2u);
    EXPECT_EQ(scanner.folders.size(), 2u);
    EXPECT_EQ(scanner.starts, 1);
    EXPECT_EQ(scanner.ends, 1);

    // Reset with a root that stands in the caller's list copies it.
    scanner.Reset(*roots.GetLast(), &mask, 0, 0);
    EXPECT_EQ(roots.GetFirst()->GetNext(), roots.GetLast());
    scanner.breakAfter = -1;
    scanner.files.clear();
    scanner.Run();
    EXPECT_EQ(scanner.files, (std::vector<std::string>{"d.txt"}));
}

TEST_F(Scan, AFolderThatVanishesOrDoesNotExistGivesAnEmptyWalk) {
    const String mask("*.txt");
    Recorder scanner(FileName(root.c_str()), &mask, 0, 1);
    scanner.onDirectory = [this](const std::string &name) {
        if (name.size() >= 4 && name.compare(name.size() - 4, 4, "\\sub") == 0)
            fs::remove_all(folder / "sub");
    };
    scanner.Run();
    EXPECT_EQ(Sorted(scanner.files), (std::vector<std::string>{"a.txt", "c.txt"}));
    EXPECT_EQ(scanner.folders.back(), "sub") << "reported, then found empty";

    Recorder missing(FileName((root + "\\missing").c_str()), &mask, 0, 1);
    missing.Run();
    EXPECT_TRUE(missing.files.empty());
    EXPECT_EQ(missing.folders.size(), 1u);
}

TEST_F(Scan, AFolderWithoutReadPermissionGivesAnEmptyWalk) {
#if defined(_WIN32)
    GTEST_SKIP() << "folder permissions are ACLs on Windows; std::filesystem cannot take reading away";
#else
    fs::permissions(folder / "sub", fs::perms::none);
    // The walk runs in a child process; as root it gives up root's rights
    // first, since root reads any folder.
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0))
            _exit(10);
        const String mask("*.txt");
        Recorder scanner(FileName(root.c_str()), &mask, 0, 1);
        scanner.Run();
        const bool entered = std::find(scanner.folders.begin(), scanner.folders.end(), "sub") != scanner.folders.end();
        _exit(entered && Sorted(scanner.files) == std::vector<std::string>{"a.txt", "c.txt"} ? 0 : 11);
    }
    int status = 0;
    waitpid(child, &status, 0);
    fs::permissions(folder / "sub", fs::perms::owner_all);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0) << "10: could not give up root; 11: wrong walk";
#endif
}

TEST_F(Scan, PathsHoldAtMost259Characters) {
    // A folder deep enough that its files' names reach the limit.
    fs::path deep = folder;
    while (WindowsName(deep).size() < 200)
        deep /= "d";
    fs::create_directories(deep);
    const size_t room = 259 - WindowsName(deep).size() - 1;  // for a name behind '\'
    std::error_code error;
    for (size_t length : {room, room + 1}) {
        std::ofstream(deep / (std::string(length - 4, 'n') + ".txt")) << "x";
        if (!fs::exists(deep / (std::string(length - 4, 'n') + ".txt"), error))
            GTEST_SKIP() << "the platform does not make names beyond 259 characters";
    }
    const String mask("*.txt");
    Recorder scanner(FileName(WindowsName(deep).c_str()), &mask, 0, 0);
    scanner.Run();
    ASSERT_EQ(scanner.files.size(), 1u) << "the name of 260 characters is passed over";
    EXPECT_EQ(scanner.files[0].size(), room);

    Recorder tooLong(FileName((WindowsName(deep) + "\\" + std::string(room + 10, 'x')).c_str()), &mask, 0, 0);
    tooLong.Run();
    EXPECT_EQ(tooLong.folders.size(), 1u) << "reported, with nothing to list";
    EXPECT_TRUE(tooLong.files.empty());
}

}  // namespace
