// Config and ConfigKey: hierarchical settings held whole in memory.
//
// A Config is a tree of named groups and named text values.  It is walked
// through one movable current position, and every read or write of keys
// works on the group at that position.  Key names are plain text compared
// without regard to case (_stricmp); only MoveAbsolute gives the backslash
// a meaning, as the divider of a group path.
//
// Names with an index.  Members that take `name` and `index` work on the
// composed name: a non-zero `index` is appended in decimal, sign included,
// so "Recent" with 3 is "Recent3", with -2 "Recent-2", and with 0 stays
// "Recent".  The suffix is plain text: "Item1" with 0 and "Item" with 1 are
// one key.  The composed name is built on the stack (no allocation) and is
// cut at 255 characters.  A null name counts as the empty one.
//
// Matching.  A group may hold a group and a value of the same name; they do
// not disturb each other.  Lookups for a group see only groups, lookups for
// a value only values, and "key" lookups either kind; the first match in
// list order wins.
//
// Order.  Without a sort bit in the mode, keys stay in creation order.  With
// Sorted or SortedGroupsFirst, a new key goes in ahead of the first key that
// it compares below (ConfigKey's ordering, see there), so equal keys keep
// their arrival order.  A key is placed when it is made and never moves.
//
// Values are text; Set/GetValue turn numbers, text and byte blocks into it
// and back (see the typed families below).  Every numeric GetValue parses
// the stored text as strtol, strtoul or atof read it, and a missing key
// yields the default after a round trip through its own text form.
//
// The text format.  GetAsBlock writes the tree, BuildFromBlock reads it:
//
//     Settings<CR LF>
//     {<CR LF>
//     <TAB>Width=640<CR LF>
//     <TAB>Panel<CR LF>
//     <TAB>{<CR LF>
//     <TAB><TAB>Title=My View<CR LF>
//     <TAB><TAB>Pinned<CR LF>
//     <TAB>}<CR LF>
//     }<CR LF>
//
// A group is its name, "{", its entries one level deeper, "}"; the root is
// the outermost group and carries the Config's name.  A value is
// name=value, or the bare name when the value is empty.  Groups without
// children are not written, nor are a group's own value, `userData` or the
// mode.  There is no quoting, escaping or comment syntax.
//
// The reader takes any line end (CR LF, CR, LF, a zero byte), trims blanks
// and tabs off each line, skips empty lines, and never fails: any input
// gives a tree.  A line directly followed by a line "{" is a group head
// (its whole text is the name); a line "}" closes a group (one with no
// group open ends the reading); a line with "=" at position 1 or later is
// name=value, split at the first "=", neither side trimmed further; any
// other line is a bare key.  Lines go through the ordinary members: a value
// named twice keeps the last text at the first one's place, a bare name
// named twice gives two keys, and a group named twice is continued (unless
// the mode holds MultipleGroups).  Groups left empty by the input are
// removed.  After the root's "}" the reading goes on in the root; a
// further group head renames it.  Groups nest at most MaxBlockDepth levels
// below the root: the head of a deeper group is dropped, its lines go into
// the deepest group that was opened, and its "{" and "}" are still paired,
// so the entries after it keep their places.
//
// Files.  Load reads a whole file into memory and builds the tree from it;
// Save writes the whole tree with one write.  A Config made with a
// FileName loads that file at once and, with autoSave, saves to it when it
// ends, quietly.  A file that cannot be read leaves the tree as it was,
// silently unless the mode holds MustExist (then Load throws a
// `const char *` to an empty text).  With StampFileTime, Save stores the
// file's last-write time in the group "__System" as the value "config"
// and gives the file exactly that time; Load compares the two, and
// HasWrongFileTime tells whether something else has written the file
// since.  Save writes the file in place by default, so a failure in the
// middle (a full disk) leaves it cut short; with SafeSave in the mode it
// writes a new file in the same folder, flushes it to the disk and puts
// it in the old one's place in one step, so that a failure leaves the old
// file whole.  The path list files hold one path a line (see
// GetAsPathList).
//
// A Config takes no lock.  The current position is state of the object,
// so even the const readers depend on it: one thread at a time.  Every
// walk, copy, comparison and deletion recurses once per level of groups,
// so the depth of a tree is bounded by the stack.  A tree read by
// BuildFromBlock stays within MaxBlockDepth levels; the deepest recursion,
// a copy, takes about 160 bytes of stack a level (320 under the address
// sanitizer), so such a tree needs well under 100 KB whatever the input;
// so does one built by BuildFromPathList.  Trees built deeper through
// MoveDown or MoveAbsolute take stack in proportion to their depth.
#ifndef CVZ_CONFIG_CONFIG_H
#define CVZ_CONFIG_CONFIG_H

#include <stdint.h>

#include "CommonVcZq/collections/double_list.h"
#include "CommonVcZq/files/file_name.h"
#include "CommonVcZq/frame/api.h"
#include "CommonVcZq/text/string.h"
#include "CommonVcZq/text/text_functions.h"

class Config;
class MemoryStream;

// One key of a Config: a value, or a group that owns a list of keys.
//
// A key is a group exactly when `children` is non-null, so an empty group
// is still a group and a value never has a list.  The child list owns its
// keys, and its compare mode is `mode & 6` of the Config at the time it was
// made.  The fields are open to the application; `name` keeps the spelling
// it was created with, and `userData` is the application's own (the
// library only copies it).
class CVZ_API ConfigKey : public ListElement {
public:
    // A key of `config` named `name`, below `parent` (not linked into its
    // list here), empty, with `userData` 0; a group when `isGroup` is
    // non-zero.
    ConfigKey(const Config &config, const String &name, ConfigKey *parent, int isGroup);
    // Calls the Config's onKeyDelete hook, when set, then deletes the whole
    // subtree.
    ~ConfigKey() override;

    ConfigKey(const ConfigKey &) = delete;
    ConfigKey &operator=(const ConfigKey &) = delete;

    int IsGroup() const { return children != nullptr; }
    int IsValue() const { return children == nullptr; }

    // Siblings in the parent's list; null at the ends.
    ConfigKey *GetNext() const { return static_cast<ConfigKey *>(ListElement::GetNext()); }
    ConfigKey *GetPrev() const { return static_cast<ConfigKey *>(ListElement::GetPrev()); }

    // Equal keys: same name without regard to case, same kind, same value
    // text (with case), and for groups equal children in the same order.
    int operator==(const ConfigKey &other) const { return Compare(other, 0) == 0; }
    int operator!=(const ConfigKey &other) const { return Compare(other, 0) != 0; }

    String name;            // as created; never changed by moving or sorting
    String value;           // the value text; a group's is not written out
    uint32_t userData;      // the application's word; 0 in a new key
    ConfigKey *parent;      // the group holding the key; null for the root
    DoubleList *children;   // owned child list; non-null exactly for groups
    const Config *config;   // the Config the key belongs to

private:
    friend class Config;

    // The ordering of keys.  Names first, without case.  Keys of one name:
    // a group before a value, then the values by strcmp, and two groups are
    // equal (0) when their children pair up equal in order, else 1.  Keys of
    // different names: by name, except that with bit 4 in `compareMode`
    // (SortedGroupsFirst) a group goes before a value whatever the names.
    int32_t Compare(const CollectionElement &other, int compareMode) const override;
    // A deep copy belonging to the Config that `config` points to.
    CollectionElement *CreateClone(const void *config) const override;

    // An empty key that then copies `source` by Assign.
    ConfigKey(const ConfigKey &source, const Config &config);
    // Deep copy of `source` into this key, for `config`: name, value, the
    // whole subtree (child lists get `config`'s compare mode), then
    // onKeyCopy(*this, source) when that hook is set, else `userData`.
    void Assign(const ConfigKey &source, const Config &config);
    // Points `parent` of each direct child of `group` at `group`.
    static void InitChildren(ConfigKey &group);
};

class CVZ_API Config {
public:
    // The mode: a bit set given at construction.
    enum Mode {
        // MoveDown never looks for an existing group: with autoCreate on,
        // every descent makes a new one (so siblings may share a name);
        // with it off, MoveDown never moves.
        MultipleGroups = 1,
        // New keys are inserted in order instead of appended.
        Sorted = 2,
        // As Sorted, and groups go before values of other names.
        SortedGroupsFirst = 4,
        // Loading a file that cannot be read is an error.
        MustExist = 8,
        // Saving stamps the file time into the tree, loading checks it.
        StampFileTime = 16,
        // Saving writes a new file and puts it in place of the old one.
        SafeSave = 32
    };

    // Hooks for an application or a derived class; the library never sets
    // them.  onKeyCopy replaces the copying of `userData` when a key is
    // copied; onKeyDelete is called by every key's destructor, subtree
    // keys after their group.
    typedef void (*KeyCopyHook)(ConfigKey &target, const ConfigKey &source);
    typedef void (*KeyDeleteHook)(ConfigKey &key);

    // Remembers the current position and puts it back at the end of its
    // scope.  That key must still exist then.
    class CVZ_API PathSaver {
    public:
        explicit PathSaver(Config &config) : config(config), saved(config.current) {}
        ~PathSaver() { config.current = saved; }
        PathSaver(const PathSaver &) = delete;
        PathSaver &operator=(const PathSaver &) = delete;

    private:
        Config &config;
        ConfigKey *saved;
    };

    // Hands out the direct children of the group that is current when
    // GetFirst is called.  The successor is fetched before a key is handed
    // out, so the caller may delete the key it holds.
    class CVZ_API KeyFinder {
    public:
        explicit KeyFinder(const Config &config) : config(config), next(nullptr) {}
        // The first child, null when there is none.
        ConfigKey *GetFirst();
        // The next child, null at the end.
        ConfigKey *GetNext();

    private:
        const Config &config;
        ConfigKey *next;
    };

    // An empty tree whose root is named `name`; no file, no auto-save.
    explicit Config(const char *name, Mode mode = Mode(0));
    // As above, then Load(file); `file` stays the Config's file, to which
    // the destructor saves when `autoSave` is set.  The name in the file,
    // if any, replaces `name`.
    Config(const char *name, const FileName &file, int autoSave, Mode mode = Mode(0));
    // Deep copies.  The copy takes the mode, the hooks, the flags and the
    // file name; its position is its root.  Assigning an object to itself
    // does nothing.
    Config(const Config &other);
    Config &operator=(const Config &other);
    virtual ~Config();

    // Whole trees compare as their roots do: names (without case) count.
    int operator==(const Config &other) const { return root.Compare(other.root, 0) == 0; }
    int operator!=(const Config &other) const { return root.Compare(other.root, 0) != 0; }

    String GetName() const { return root.name; }
    const FileName &GetFileName() const { return fileName; }
    Mode GetMode() const { return mode; }
    void SetAutoSave(int on) { autoSave = on; }
    // With autoCreate off, MoveDown does not make missing groups.  Reading
    // a tree switches it on again.
    void SetAutoCreate(int on) { autoCreate = on; }
    int HasWrongFileTime() const { return wrongFileTime; }

    // The root group, and the group at the current position.
    ConfigKey *GetRoot() { return &root; }
    const ConfigKey *GetRoot() const { return &root; }
    ConfigKey *GetCurrentKey() const { return current; }

    // Position.  Each returns the current key after the move.
    ConfigKey *MoveToRoot();
    // Moves to `key`, unchecked; it must be a group of this tree.
    ConfigKey *MoveTo(ConfigKey *key);
    // To the parent; at the root, stays there.
    ConfigKey *MoveUp();
    // Into the group of that (composed) name, taken whole, backslashes
    // included.  A missing group is made when autoCreate is on; with it
    // off the position stays, which the caller sees in the result.
    ConfigKey *MoveDown(const char *name, int index = 0);
    ConfigKey *MoveDown(const String &name, int index = 0);
    // Into a group named `name` (null: "K_") with a random number from 0 to
    // 2147483646 appended (0: no suffix).  Nothing checks that the group is
    // new.
    ConfigKey *MoveDownUniqueKey(const char *name);
    // Walks a backslash path by MoveDown: from the root when it starts with
    // a backslash, else from here.  Blanks around components are trimmed
    // and empty components skipped; with autoCreate off a missing component
    // is passed over and the walk goes on.
    ConfigKey *MoveAbsolute(const char *path);

    // Keys of the current group.
    // Always a new value key (no search), placed by the mode; the position
    // stays.
    ConfigKey *CreateKey(const String &name);
    // Makes a group a value key, deleting its subtree; a value is left as
    // it is, and so is the root, which stays a group.  A position at or
    // below `key` moves to `key`'s parent.
    void GroupToValue(ConfigKey *key);
    // Gives a value key an empty child list; its value text stays.  A group
    // is left as it is.
    void ValueToGroup(ConfigKey *key);
    // Deletes the first child of either kind with the composed name, if any.
    void DeleteKey(const char *name, int index = 0);
    // Deletes `key` (null: nothing; the root: nothing).  When the current
    // position is `key` or lies below it, it moves to `key`'s parent first.
    void DeleteKey(ConfigKey *key);
    // Deletes all children of the current group.
    void DeleteKeys();
    // Moves to the root and deletes all its children; the root's name stays.
    void Clear();
    // Below the current group, deletes every group left without children,
    // deepest first, so groups holding only empty groups go too.  The
    // current group itself stays.
    void DeleteEmptyGroups();
    // 1 when the current group has a child of that composed name of either
    // kind, a value, a group; else 0.
    int ExistKey(const char *name, int index = 0) const;
    int ExistValue(const char *name, int index = 0) const;
    int ExistGroup(const char *name, int index = 0) const;
    ConfigKey *GetFirstKey() const;
    // The child at a 0-based position in list order; null out of range.
    ConfigKey *GetKey(int position) const;
    uint32_t GetNumKeys() const;
    uint32_t GetNumGroups() const;
    uint32_t GetNumValues() const;

    // Walks.  Post-order: the keys inside a group come before the group,
    // and the successor of a key is fetched before `f` gets the key, so `f`
    // may delete it.  The start itself is never visited; empty groups are
    // visited but not entered.
    void ForEachKey(void (*f)(ConfigKey &, void *), void *data) const;  // below current
    void ForEachKey(const ConfigKey *start, void (*f)(ConfigKey &, void *), void *data) const;
    // The first key of the walk for which `test` is non-zero, else null.
    // Without a start, the whole tree from the root.
    ConfigKey *FindFirstThat(int (*test)(const ConfigKey &, const void *), const void *data) const;
    ConfigKey *FindFirstThat(const ConfigKey *start, int (*test)(const ConfigKey &, const void *),
                             const void *data) const;

    // Typed values in the current group, by composed name.  Only value keys
    // count; a group of the same name is passed over.  SetValue makes the
    // key when it is missing (autoCreate plays no part) and otherwise
    // changes only its text.  Integers are written in decimal (a char as its
    // number), float and double with "%.8f", text as it is.  `long` and
    // `unsigned long` are 32 bits wide here on every platform.
    void SetValue(char value, const char *name, int index = 0);
    void SetValue(signed char value, const char *name, int index = 0);
    void SetValue(unsigned char value, const char *name, int index = 0);
    void SetValue(short value, const char *name, int index = 0);
    void SetValue(unsigned short value, const char *name, int index = 0);
    void SetValue(int value, const char *name, int index = 0);
    void SetValue(unsigned int value, const char *name, int index = 0);
    void SetValue(long value, const char *name, int index = 0);
    void SetValue(unsigned long value, const char *name, int index = 0);
    void SetValue(float value, const char *name, int index = 0);
    void SetValue(const double &value, const char *name, int index = 0);
    void SetValue(const String &value, const char *name, int index = 0);
    void SetValue(const char *value, const char *name, int index = 0);

    // The stored text parsed as strtol (signed), strtoul (unsigned) or atof
    // read it, narrow types keeping the low bits with no range test; without
    // the key, the default after a round trip through its text ("%.2f" for
    // float and double).  A key with an empty text gives 0, not the default.
    char GetValue(char defaultValue, const char *name, int index = 0) const;
    signed char GetValue(signed char defaultValue, const char *name, int index = 0) const;
    unsigned char GetValue(unsigned char defaultValue, const char *name, int index = 0) const;
    short GetValue(short defaultValue, const char *name, int index = 0) const;
    unsigned short GetValue(unsigned short defaultValue, const char *name, int index = 0) const;
    int GetValue(int defaultValue, const char *name, int index = 0) const;
    unsigned int GetValue(unsigned int defaultValue, const char *name, int index = 0) const;
    long GetValue(long defaultValue, const char *name, int index = 0) const;
    unsigned long GetValue(unsigned long defaultValue, const char *name, int index = 0) const;
    float GetValue(float defaultValue, const char *name, int index = 0) const;
    double GetValue(const double &defaultValue, const char *name, int index = 0) const;
    // The stored text (an empty one included), else the default.
    String GetValue(const String &defaultValue, const char *name, int index = 0) const;
    String GetValue(const char *defaultValue, const char *name, int index = 0) const;

    // GetValue, then clamped: below `minimum` gives `minimum`, else above
    // `maximum` gives `maximum`, tested in that order in the type's own
    // arithmetic.  Nothing is written back.
    char GetSure(char defaultValue, char minimum, char maximum, const char *name, int index = 0) const;
    signed char GetSure(signed char defaultValue, signed char minimum, signed char maximum, const char *name,
                        int index = 0) const;
    unsigned char GetSure(unsigned char defaultValue, unsigned char minimum, unsigned char maximum,
                          const char *name, int index = 0) const;
    short GetSure(short defaultValue, short minimum, short maximum, const char *name, int index = 0) const;
    unsigned short GetSure(unsigned short defaultValue, unsigned short minimum, unsigned short maximum,
                           const char *name, int index = 0) const;
    int GetSure(int defaultValue, int minimum, int maximum, const char *name, int index = 0) const;
    unsigned int GetSure(unsigned int defaultValue, unsigned int minimum, unsigned int maximum, const char *name,
                         int index = 0) const;
    long GetSure(long defaultValue, long minimum, long maximum, const char *name, int index = 0) const;
    unsigned long GetSure(unsigned long defaultValue, unsigned long minimum, unsigned long maximum,
                          const char *name, int index = 0) const;
    float GetSure(float defaultValue, float minimum, float maximum, const char *name, int index = 0) const;
    double GetSure(const double &defaultValue, const double &minimum, const double &maximum, const char *name,
                   int index = 0) const;

    // Byte blocks as text: two uppercase hexadecimal digits a byte, in
    // memory order, no separator.  A `size` of 0 or less stores an empty
    // text.
    void SetBinary(const void *data, int size, const char *name, int index = 0);
    // Fills `target` (`size` bytes) and returns the bytes delivered.  With
    // no text: a copy of `defaultData` (returns `size`), or zeros when that
    // is null (returns 0).  Otherwise `target` is zeroed and filled from
    // the text, where blanks and tabs between digit pairs are skipped and
    // either case is accepted; a lone digit at the end is not delivered.
    int32_t GetBinary(void *target, const void *defaultData, int size, const char *name, int index = 0) const;
    // Half the length of the trimmed text: never below what GetBinary
    // delivers.  0 without the key.
    int32_t GetBinarySize(const char *name, int index = 0) const;

    // Empties `names`, then adds the name of each value key of the current
    // group, in list order or (when `sorted` is non-zero) in the order of
    // the list's compare mode.  Returns the count.
    uint32_t GetValueNames(List<StringItem<ListElement>> &names, int sorted) const;

    // The text format on memory.
    // Deletes the empty groups below the current group, writes the whole
    // tree to a new block from QX_Heap::GetDefault() (free it with
    // QX_Heap::FreeMem), stores its size and moves to the root.
    char *GetAsBlock(unsigned int *size);
    // Replaces the tree by the one in `block` (not zero-ended), switches
    // autoCreate on and moves to the root.  A null block changes nothing.
    void BuildFromBlock(const char *block, unsigned int size);
    // The deepest level below the root at which BuildFromBlock still opens
    // a group; no real settings text comes near it.
    enum { MaxBlockDepth = 256 };

    // Settings files.  Neither changes GetFileName.
    // Replaces the tree by the one in `file`; an empty name does nothing.
    // With StampFileTime the position is left on "__System", else at the
    // root.  Failures: see the class comment.
    void Load(const FileName &file);
    // Writes the tree to `file`, moving to the root; an empty name does
    // nothing.  A failure raises the File's Exception with `rethrow`, and
    // is swallowed without it; the file is then cut short, or with
    // SafeSave as it was.
    void Save(const FileName &file, int rethrow);
    // The path list of the tree, written with File::WriteLines.
    void SaveAsPathList(const FileName &file);
    // Replaces the tree by the path list in `file` (File::ReadLines,
    // trimmed, without empty lines).  Failures pass on.
    void LoadFromPathList(const FileName &file);

    // The path list: for each value key in the order of the text format,
    // its group path below the root and its name joined by backslashes (no
    // root name, no values; an empty path is left out).  Fills `paths`,
    // replacing what it held; returns the count.
    uint32_t GetAsPathList(List<StringItem<ListElement>> &paths) const;
    // Replaces the tree: for each path, groups by MoveDown from the root
    // and a new bare key for its last component.  The position ends in the
    // group of the last path.  As in BuildFromBlock, groups nest at most
    // MaxBlockDepth levels: the components of a path beyond that depth are
    // dropped, and its key goes into the deepest group.
    void BuildFromPathList(const List<StringItem<ListElement>> &paths);

    KeyCopyHook onKeyCopy;
    KeyDeleteHook onKeyDelete;

protected:
    Mode mode;
    ConfigKey root;        // always a group, named as the Config
    ConfigKey *current;    // the current position; a group of this tree
    int depth;             // nesting while a tree is read or written
    String pendingLine;    // one line of look-ahead while reading
    FileName fileName;     // the constructor's file; empty otherwise
    int autoCreate;        // MoveDown makes missing groups
    int autoSave;          // the destructor saves to fileName
    int wrongFileTime;     // result of the file-time check; 1 until checked

private:
    // A name with its index appended, cut at 255 characters.
    struct ComposedName {
        ComposedName(const char *name, int index);
        operator const char *() const { return text; }
        char text[256];
    };

    // The first child of the current group of that composed name: a group,
    // a value, or either.
    ConfigKey *FindGroup(const char *name) const;
    ConfigKey *FindValue(const char *name) const;
    ConfigKey *FindKey(const char *name) const;
    // Links a new key into the current group, sorted or at the end by the
    // mode.  A current value key first becomes a group.
    ConfigKey *LinkIntoCurrent(ConfigKey *key);
    static void DeleteEmptyGroupsBelow(ConfigKey &group);

    // The one writer and the one reader behind the typed families.
    void SetTheValue(const String &text, const char *composedName);
    String GetTheValue(const String &defaultText, const char *composedName) const;

    // The format's reader and writer.
    String GetNextLine(MemoryStream &stream, int *opensGroup);
    void ReadGroup(MemoryStream &stream);
    void WriteGroup(const ConfigKey *key, MemoryStream &stream);
};

// Modes combine as bit sets: Config::Sorted | Config::MultipleGroups.
inline Config::Mode operator|(Config::Mode a, Config::Mode b) {
    return static_cast<Config::Mode>(static_cast<int>(a) | static_cast<int>(b));
}

#endif
