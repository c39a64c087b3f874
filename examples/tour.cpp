// A tour of CommonVcZq: each stop does one thing with the library and
// prints what happened.
#include <CommonVcZq.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>

// A Windows application receives posted messages through <windows.h>;
// elsewhere <CommonVcZq.h> declares the same calls.
#if defined(_WIN32)
#include <windows.h>
#endif


static void Stop(const char *title) {
    printf("\n== %s\n", title);
}

static void Strings() {
    Stop("Strings share their text until one of them changes");
    String greeting("Hello, tour");
    String copy = greeting;
    printf("greeting \"%s\" and its copy share one body: %s\n", greeting.c_str(),
           greeting.c_str() == copy.c_str() ? "yes" : "no");
    copy.EnsureBufferSize(64);
    printf("after the copy made room for 64 characters: shared %s, greeting still \"%s\"\n",
           greeting.c_str() == copy.c_str() ? "yes" : "no", greeting.c_str());

    String number(1234567);
    String price(19.5);
    String hex(255, "0x%04X");
    printf("numbers to text: %s, %s, %s\n", number.c_str(), price.c_str(), hex.c_str());
    printf("text to numbers: \"ff\" in base 16 is %d, \"010\" in base 0 is %d, \"2.5kg\" is %.1f\n",
           String("ff").to_int(16), String("010").to_int(0), String("2.5kg").to_double());

    {
        CaseSensitive ignoringCase(0);
        printf("with case ignored, \"Tour\" == \"TOUR\": %s\n", String("Tour") == "TOUR" ? "yes" : "no");
    }
    printf("case counts again once the scope ends: %s\n", String("Tour") == "TOUR" ? "equal" : "different");
    printf("the string heap holds %u blocks right now\n", _stringHeap->GetBlockCount());
}

static void Messages() {
    Stop("Messages by number");
    printf("message 18008: \"%s\"\n", String(FindString(18008)).c_str());
    printf("message 18019 for drive C:: \"%s\"\n", String(BuildString(18019, "C:")).c_str());
    printf("message 1 does not exist, its text is empty: \"%s\"\n", String(FindString(1)).c_str());
}

static void PatternsAndChecksums() {
    Stop("Patterns, checksums and a reproducible random sequence");
    String log("disk C: 12 MB free\nerror 404 on line 37\n");
    unsigned int length = 0;
    RegularExp code("[0-9][0-9][0-9] ");
    int32_t at = log.Find(code, 0, &length);
    printf("pattern \"[0-9][0-9][0-9] \" in the log: at %d, %u characters: \"%s\"\n", at, length,
           String(log.Mid(static_cast<uint32_t>(at), length)).c_str());
    RegularExp lineEnd("[0-9]+$");
    at = log.Find(lineEnd, 0, &length);
    printf("a number at the end of a line (\"[0-9]+$\"): at %d, \"%s\"\n", at,
           String(log.Mid(static_cast<uint32_t>(at), length)).c_str());
    RegularExp bad("*oops");
    printf("a pattern that starts with a repeat does not compile: status %d\n", bad.GetStatus());

    const char check[] = "123456789";
    printf("CRC-32 of \"123456789\" is %08X, CRC-16 is %04X\n", ComputeCrc32(check, 9), ComputeCrc16(check, 9));

    Randomizer dice(2024);
    printf("six throws of a die seeded with 2024:");
    for (int i = 0; i < 6; ++i)
        printf(" %u", dice.GetInRange(1, 6));
    printf("\n");
}

// A list element of the tour's own: a planet with its distance from the sun
// in millions of kilometres.  Compare orders by distance; mode 1 by name.
struct Planet : ListElement {
    Planet(const char *name, int distance) : name(name), distance(distance) {}
    int32_t Compare(const CollectionElement &other, int mode) const override {
        const Planet &p = static_cast<const Planet &>(other);
        if (mode == 1)
            return name < p.name ? -1 : name > p.name ? 1 : 0;
        return distance < p.distance ? -1 : distance > p.distance ? 1 : 0;
    }
    CollectionElement *CreateClone(const void *) const override { return new Planet(name, distance); }
    String name;
    int distance;
};

static void PrintPlanets(const char *title, const List<Planet> &planets) {
    printf("%s:", title);
    for (Planet *p = planets.GetFirst(); p; p = planets.GetNext(p))
        printf(" %s (%d)", p->name.c_str(), p->distance);
    printf("\n");
}

static void ListsAndSorting() {
    Stop("Lists own their elements, sort them and search them");
    List<Planet> planets;  // owning: the list deletes what it holds
    planets.Append(new Planet("Mars", 228));
    planets.Append(new Planet("Mercury", 58));
    planets.Append(new Planet("Jupiter", 779));
    planets.Append(new Planet("Venus", 108));
    planets.Append(new Planet("Earth", 150));
    PrintPlanets("as added", planets);
    planets.Sort();
    PrintPlanets("sorted by distance", planets);
    Planet probe("", 200);
    printf("the nearest planet beyond 200: %s; the last one before it: %s\n",
           planets.FindClosestGreater(probe)->name.c_str(), planets.FindClosestSmaller(probe)->name.c_str());

    List<Planet> byName(planets);  // a deep copy, through CreateClone
    byName.SetCompareMode(1);
    byName.Sort();
    PrintPlanets("a copy sorted by name", byName);
    delete planets.Detach(planets.GetFirst());
    printf("after the first planet left the original, the copy still holds %d\n", byName.GetCount());

    Stop("Arrays of pointers: quicksort and binary search");
    ArrayBase array(20, 20, 0);  // borrows the planets: deletes nothing
    for (Planet *p = byName.GetFirst(); p; p = byName.GetNext(p))
        array.Add(p);
    array.Sort();
    int index = -1;
    Planet earthDistance("", 150);
    array.BinaryFindEqual(earthDistance, &index);
    printf("sorted by distance in the array, 150 stands at index %d of %d\n", index, array.GetCount());

    Stop("Text splits into lists of strings");
    List<StringItem<ListElement>> words;
    ExplodeString(words, "  red, green;;blue ,  ", ",;", 1);
    printf("\"  red, green;;blue ,  \" split at , and ; gives %d items:", words.GetCount());
    for (StringItem<ListElement> *w = words.GetFirst(); w; w = words.GetNext(w))
        printf(" [%s]", w->c_str());
    printf("\n");
    int count = 0;
    int *numbers = StringToIntArray("12, 7; -3", &count);
    printf("the numbers in \"12, 7; -3\": %s (the minus is a divider)\n",
           String(IntArrayToString(numbers, count, '+')).c_str());
    QX_Heap::FreeMem(numbers);
    printf("sizes: %s, %s; a DOS date word 0x5A21 is %s\n", String(GetStringFileSize(1599000)).c_str(),
           String(ByteSizeToString(1536)).c_str(), String(GetDateString(0x5A21)).c_str());

    MemoryStream stream(64, 1);
    stream.PutLine("first line");
    stream.Put(2024);
    stream.PutLine("");
    stream.PutString("zero-ended", 1);
    const unsigned written = static_cast<unsigned>(stream.GetPosition());
    stream.SetPosition(0);
    String firstLine(stream.GetLine());
    int year = 0;
    stream.Get(year);
    printf("a memory stream took %u bytes; read back: the line \"%s\" and the number %d\n", written,
           firstLine.c_str(), year);
}

static void FileNames() {
    Stop("File names are strings with a path algebra");
    FileName name("C:\\Projects\\tour\\src\\main.cpp");
    printf("%s: path %s, title %s, extension %s, drive %s\n", name.c_str(), String(name.GetPath()).c_str(),
           String(name.GetTitle(0)).c_str(), String(name.GetExtension(1)).c_str(), String(name.GetDrive()).c_str());
    printf("shortened to 20 characters: %s\n", String(name.GetSummary(20)).c_str());
    String relative(String::GetRelativeFileName("C:\\Projects\\tour\\doc", name));
    printf("from C:\\Projects\\tour\\doc the file is %s, and back: %s\n", relative.c_str(),
           String(String::GetAbsoluteFileName("C:\\Projects\\tour\\doc", relative)).c_str());
    String header(name);
    header.SetExtension("h");
    printf("with the extension h: %s\n", header.c_str());
    printf("the current directory in drive-letter form: %s\n", String(String::GetCurrentPath()).c_str());

    List<FileName> names;
    names.Append(new FileName("C:\\b.TXT"));
    names.Append(new FileName("c:\\A.txt"));
    names.Append(new FileName("C:\\c.txt"));
    names.Sort();
    printf("names sort without case:");
    for (FileName *n = names.GetFirst(); n; n = names.GetNext(n))
        printf(" %s", n->c_str());
    printf("\n");
}

static void Files() {
    Stop("Files: written, read back line by line, and held against a second open");
    FileName name;
    {
        // A fresh name in the current directory, for reading and writing.
        File writer(FileName(String::GetCurrentPath()), File::OpenTempName);
        name = writer.GetName();
        writer.WriteLine("first line");                   // ended by CR LF
        writer.WriteLine("second line", '\n', '\xFF');    // by LF alone
        writer.WriteString("a last line without an end");
        printf("wrote %d bytes to %s\n", writer.GetSize(), name.c_str());
    }
    // Read without sharing: nobody else may open the file meanwhile.  The
    // file is deleted when this File closes it.
    File reader(name, File::OpenRead | File::ShareNone | File::DeleteOnCloseByFile);
    for (int n = 1; reader.GetPosition() < reader.GetSize(); ++n)
        printf("line %d: \"%s\"\n", n, String(reader.ReadLine()).c_str());
    try {
        File second(name, File::OpenRead | File::ShareReadWrite);
    } catch (const Exception &e) {
        const char *text = e.message->c_str();
        printf("a second open fails with code %u:\n  %s\n", e.code, strchr(text, '\n') + 1);
    }
}

static void BlockCache() {
    Stop("A block cache shared by files: a file read twice through a small pool");
    FileName name;
    {
        File writer(FileName(String::GetCurrentPath()), File::OpenTempName);
        name = writer.GetName();
        char line[64];
        for (int i = 0; writer.GetSize() < 6 * 4096; ++i) {
            snprintf(line, sizeof line, "record %05d of the cached file", i);
            writer.WriteLine(line);
        }
    }
    // Eight blocks of 4 KB; the file, six blocks long, fits.  It is opened
    // without system buffering: the pool is its cache.
    FileCacheManager cache(8, 4096);
    File file(name, File::OpenRead | File::DeleteOnCloseByFile, cache);
    printf("pool: %u blocks of %u bytes; file %s, %d bytes, read in pieces of 1000\n", cache.GetNumBlocks(),
           cache.GetBlockSize(), name.c_str(), file.GetSize());
    // A byte loaded and delivered once counts as loaded only: the second
    // pass, all hits, brings the rate to 50%.
    char piece[1000];
    const int32_t size = file.GetSize();
    for (int pass = 1; pass <= 2; ++pass) {
        for (int32_t offset = 0; offset < size; offset += int32_t(sizeof piece))
            file.ReadCache(offset, piece, std::min(int32_t(sizeof piece), size - offset), nullptr, 1);
        double hit, fromDisk, fromCache;
        cache.GetStatistics(&hit, &fromDisk, &fromCache);
        printf("after pass %d: %.0f bytes from disk, %.0f from the cache, %.1f%% hits\n", pass, fromDisk,
               fromCache, hit);
    }
}

static void WalkingWithPointers() {
    Stop("Walking a file with a plain pointer, forward and backward, through small windows");
    FileName name;
    {
        File writer(FileName(String::GetCurrentPath()), File::OpenTempName);
        name = writer.GetName();
        for (int32_t i = 0; i < 5000; ++i)
            writer.Write(i);  // 20000 bytes: the numbers 0 to 4999, 4 bytes each
    }
    // One channel over the whole file, 4-byte elements.  On a cached file
    // a window is asked for with half a block, at least a page: 4096 bytes,
    // and one element more, rounded up to pages: 8192.  Each miss copies
    // from the block cache, which fills its 4 KB blocks with File::Read.
    FileCacheManager cache(4, 4096);
    File file(name, File::OpenRead | File::DeleteOnCloseByFile, cache);
    MultiFileBuffer buffer(1, 3);
    ClassicBufferedFile::Register(buffer, 0, file, 0, 0, 1, 4, 4096, 0);
    int32_t window = -1;
    int64_t sum = 0;
    char *p = static_cast<char *>(buffer.GetVirtualPointer(0, 0));
    for (int32_t i = 0; i < 5000; ++i, p += 4) {
        // The one check per element: past the window's last element a new
        // window comes in and the pointer is rewritten.
        buffer.ValidateVirtualPointer(reinterpret_cast<void **>(&p), 0);
        const int32_t offset = buffer.VirtualPointerToFileOffset(p, 0);
        const int32_t start = offset - buffer.GetAvailableBytesBeforeVirtualPointer(p, 0);
        if (start != window) {
            window = start;
            printf("forward:  element %4d at offset %5d, window from %5d, %d bytes\n", i, offset, start,
                   buffer.GetAvailableBytesFromVirtualPointer(p, 0) + offset - start);
        }
        int32_t value;
        memcpy(&value, p, 4);
        sum += value;
    }
    printf("forward sum: %lld\n", static_cast<long long>(sum));
    // Backward the element lies before the pointer; a window ends just
    // past the request.
    sum = 0;
    p = static_cast<char *>(buffer.GetVirtualPointerBackward(20000, 0));
    for (int32_t i = 4999; i >= 0; --i, p -= 4) {
        buffer.ValidateVirtualPointerBackward(reinterpret_cast<void **>(&p), 0);
        const int32_t offset = buffer.VirtualPointerToFileOffset(p, 0);
        const int32_t start = offset - buffer.GetAvailableBytesBeforeVirtualPointer(p, 0);
        if (start != window) {
            window = start;
            printf("backward: element %4d before offset %5d, window from %5d\n", i, offset, start);
        }
        int32_t value;
        memcpy(&value, p - 4, 4);
        sum += value;
    }
    printf("backward sum: %lld\n", static_cast<long long>(sum));
    // A request past the data fails in the read, and the failure reaches
    // the walker through ValidateVirtualPointer.
    ClassicBufferedFile::Register(buffer, 0, file, 0, 40000, 1, 4, 4096, 0);
    p = static_cast<char *>(buffer.GetVirtualPointer(0, 0)) + 30000;
    try {
        buffer.ValidateVirtualPointer(reinterpret_cast<void **>(&p), 0);
    } catch (const Exception &e) {
        printf("a window past the end of the data: \"%s\"\n", e.message->c_str());
    }
    buffer.StopUsingFile(file);  // before the File goes
}

static void Settings() {
    Stop("A settings tree in memory, and the text it makes");
    Config settings("Tour");
    settings.MoveDown("Window");
    settings.SetValue(640, "Width");
    settings.SetValue(480, "Height");
    settings.SetValue("Tour of CommonVcZq", "Title");
    settings.MoveUp();
    settings.MoveDown("Recent");
    settings.SetValue("C:\\Projects\\tour\\src\\main.cpp", "File", 0);
    settings.SetValue("C:\\Projects\\tour\\README", "File", 1);
    settings.MoveToRoot();
    unsigned int size = 0;
    char *text = settings.GetAsBlock(&size);
    printf("%u bytes of settings text (tabs shown as \"> \", line ends are CR LF):\n", size);
    for (unsigned int i = 0; i < size; ++i) {
        if (text[i] == '\t')
            printf("> ");
        else if (text[i] != '\r')
            putchar(text[i]);
    }

    Config copy("Copy");
    copy.BuildFromBlock(text, size);
    QX_Heap::FreeMem(text);
    copy.MoveAbsolute("Window");
    printf("read back: Width %d, a missing Depth falls back to %d, Height held to 100..300 gives %d\n",
           copy.GetValue(0, "Width"), copy.GetValue(32, "Depth"), copy.GetSure(0, 100, 300, "Height"));
}

static void SettingsFilesAndWholeFiles() {
    Stop("A settings file loaded, changed and saved by its destructor; files copied, compared and read by line");
    const FileName folder(String::GetCurrentPath());
    FileName name(folder);
    name.AppendTitleAndMakeFullFileName("tour-settings.cfg");
    const char *text = "Tour\r\n{\r\n\tRuns=1\r\n}\r\n";
    File::SaveFile(name, text, static_cast<unsigned int>(strlen(text)));
    {
        Config settings("Tour", name, 1);  // loads the file now, saves it at the end
        printf("loaded Runs=%d from %s\n", settings.GetValue(0, "Runs"), name.c_str());
        settings.SetValue(settings.GetValue(0, "Runs") + 1, "Runs");
    }
    Config reread("Tour", name, 0);
    printf("after the destructor's save: Runs=%d\n", reread.GetValue(0, "Runs"));

    FileName copy(folder);
    copy.AppendTitleAndMakeFullFileName("tour-copy.cfg");
    File::Copy(copy, name);
    int32_t difference = 0;
    printf("the copy is %s\n", File::AreEqual(name, copy, &difference) ? "equal" : "different");
    List<StringItem<ListElement>> lines;
    File::ReadLines(copy, lines, 1, 1);
    for (StringItem<ListElement> *line = lines.GetFirst(); line; line = lines.GetNext(line))
        printf("  line: \"%s\"\n", line->c_str());
    File::Delete(copy);
    File::Delete(name);
}

// A scanner of the tour's own: it prints each file it is handed, and its
// Filter lets only files of at least 100 bytes through.
class SourceLister : public FileScanner {
public:
    SourceLister(const FileName &root, const String *mask) : FileScanner(root, mask, 0, 1) {}

protected:
    int Filter(const FileName &, const WIN32_FIND_DATAA *data) override { return data->nFileSizeLow >= 100; }
    int OnFile(const FileName &name, const WIN32_FIND_DATAA *data, uint32_t index) override {
        printf("  %u: %s, %u bytes\n", index, String(name.GetTitle(1)).c_str(), unsigned(data->nFileSizeLow));
        return 1;
    }
};

static void Scanning() {
    Stop("Walking folders with file-name masks");
    // A small tree of its own, in the current folder, made with the
    // standard library and named the library's way.
    const char *const files[][2] = {{"tour_scan", "main.cpp"}, {"tour_scan", "notes.txt"},
                                    {"tour_scan", "tiny.cpp"}, {"tour_scan/lib", "util.cpp"},
                                    {"tour_scan/lib", "util.h"}, {"tour_scan/.git", "config.cpp"}};
    for (const auto &file : files) {
        std::filesystem::create_directories(file[0]);
        std::ofstream(std::string(file[0]) + "/" + file[1]) << std::string(strcmp(file[1], "tiny.cpp") ? 200 : 10, 'x');
    }
    String root(String::GetCurrentPath());
    root += "\\tour_scan";

    printf("the mask language: \"*.txt\" on \"a.b.txt\" %s, \"*.*\" on \"README\" %s, \"<rep.txt\" on "
           "\"Report.txt\" %s\n",
           MatchFileType("*.txt", "a.b.txt") ? "matches" : "does not match",
           MatchFileType("*.*", "README") ? "matches" : "does not match",
           MatchFileType("<rep.txt", "Report.txt") ? "matches" : "does not match");

    printf("*.cpp and *.h of at least 100 bytes, subfolders included (.git is passed over):\n");
    const String cpp("*.cpp");
    SourceLister lister(FileName(root), &cpp);
    lister.AddFileType("*.h");
    lister.Run();

    FileScanner collector(FileName(root + "\\*.txt|*.h"), nullptr, 0, 1);
    List<FileName> found;
    collector.SetFileNameList(found);
    printf("a root that carries its masks (\\*.txt|*.h) fills a list with %d names:", found.GetCount());
    for (FileName *name = found.GetFirst(); name; name = found.GetNext(name))
        printf(" %s", String(name->GetTitle(1)).c_str());
    printf("\n");
    std::filesystem::remove_all("tour_scan");
}

// A document of the tour's own: a line of text with undo and redo.  Each
// memento keeps the whole text as it was before a step.
class Note : public AUndoable {
public:
    String text;

    void Type(const char *word) {
        AdoptMemento(new Step(text, "Typing"));
        text += word;
    }
    void Erase() {
        AdoptMemento(new Step(text, "Erasing"));
        text.Clear();
    }

private:
    struct Step : AUndoMemento {
        Step(const String &before, const char *action) : AUndoMemento(action, 0, 0, 0), before(before) {}
        int32_t IsSameState(const AUndoMemento &other) const override {
            return before == static_cast<const Step &>(other).before;
        }
        int32_t IsMergeable() const override { return 0; }
        String before;
    };

    AUndoMemento *RestoreMemento(AUndoMemento *memento, int) override {
        Step *current = new Step(text, static_cast<Step *>(memento)->GetActionName());
        text = static_cast<Step *>(memento)->before;
        return current;
    }
};

static void UndoAndRedo() {
    Stop("A document with undo and redo");
    Note note;
    note.Type("Hello");
    note.Type(", world");
    note.Erase();
    printf("after typing twice and erasing: \"%s\"; %d steps to undo, the next is \"%s\"\n", note.text.c_str(),
           note.GetNumUndoMementos(), note.GetPendingUndoName().c_str());
    note.UndoCurrentState();
    printf("undo: \"%s\"\n", note.text.c_str());
    note.UndoCurrentState();
    printf("undo: \"%s\"; %d steps to redo\n", note.text.c_str(), note.GetNumRedoMementos());
    note.RedoLastUndoneState();
    printf("redo: \"%s\"\n", note.text.c_str());
    note.Type("!");
    printf("typing again ends the redo history: \"%s\", %d steps to redo\n", note.text.c_str(),
           note.GetNumRedoMementos());
}

static void Failures() {
    Stop("Failures travel as exceptions");
    try {
        ExceptionThrower(0).SetAndThrow(ResMess(18002), ResMess(18012), 5);
    } catch (const Exception &e) {
        printf("caught: message \"%.40s...\", detail \"%s\", code %u\n", e.message->c_str(), e.detail->c_str(),
               e.code);
    }

    try {
        // More than a block of the library's heaps can hold: the heap runs the
        // new handler, as operator new does when memory runs out.
        QX_Heap::FreeMem(QX_Heap::GetDefault().Alloc(0xFFFFFFFFu));
    } catch (const Exception &e) {
        printf("asking the default heap for 4 GB: \"%s\"\n", e.message->c_str());
    }

    Stop("A worker hands its failure to the main thread");
    MSG msg;
    PeekMessageA(&msg, 0, 0, 0, PM_NOREMOVE);  // the main thread's message queue
    // A worker of the library's Thread class; its MainLoop fails, and the
    // failure goes to the main thread's queue instead of up its own stack.
    struct Worker : Thread {
        Worker() : Thread("worker") {}
        uint32_t MainLoop() override {
            ExceptionThrower(1).SetAndThrow("the worker could not finish", 7);  // posts, then returns
            return 1;
        }
    } worker;
    worker.Run(&worker);
    worker.WaitForEnd();
    if (PeekMessageA(&msg, 0, WM_EXCEPTION, WM_EXCEPTION, PM_REMOVE)) {
        Exception *e = reinterpret_cast<Exception *>(msg.lParam);
        printf("main thread received WM_EXCEPTION: \"%s\", code %u\n", e->message->c_str(), e->code);
        delete e;
    }
}

// The tour's hook on the file dialog: it notes that the dialog came up,
// and in CI (where the variable CI is set, as CI services set it) closes it
// at once, so that the tour never waits for a click.
static bool dialogCameUp = false;

static unsigned int TourHook(FileSelectorInfo *, HWND dialog, unsigned int message, WPARAM, LPARAM lParam) {
    if (message == WM_NOTIFY && reinterpret_cast<NMHDR *>(lParam)->code == CDN_INITDONE) {
        dialogCameUp = true;
        if (getenv("CI") != nullptr)
            PostMessageA(GetParent(dialog), WM_COMMAND, IDCANCEL, 0);
    }
    return 0;
}

static void ChoosingAFile() {
    Stop("The file dialog: the user's choice, or why there is none");
    FileSelectorInfo info;
    info.title = "Pick any file for the tour";
    info.filter = "All files|*.*";
    info.userHook = TourHook;
    if (UserSelectsFile(info))
        printf("chosen: %s in %s\n", info.selectedFiles.GetFirst()->c_str(), info.selectedFolder.c_str());
    else if (!dialogCameUp)  // Windows reports an error; wine without a screen none
        printf("no display here, so no dialog (error %u); going on\n", static_cast<unsigned>(info.error));
    else if (getenv("CI") != nullptr)
        printf("the dialog came up and, this being CI, closed itself\n");
    else
        printf("nothing chosen\n");
}

int main() {
    printf("CommonVcZq tour\n");
    Strings();
    Messages();
    PatternsAndChecksums();
    ListsAndSorting();
    FileNames();
    Files();
    BlockCache();
    WalkingWithPointers();
    Settings();
    SettingsFilesAndWholeFiles();
    Scanning();
    UndoAndRedo();
    Failures();
    ChoosingAFile();
    fflush(stdout);  // the debug channel is standard error: keep the order
    SendDebugString("the tour ends here (this line went to the debug channel)");
    return 0;
}
