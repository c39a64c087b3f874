// ConfigKey and the tree half of Config: construction, copies, the
// position, creating, finding and deleting keys, walks and comparison.
//
// Lookups walk the child list of the current group with _stricmp on a
// composed name kept on the stack, so they allocate nothing.
#include "CommonVcZq/config/config.h"

#include <string.h>

#include "tools/globals.h"
#include "platform/win32.h"
#include "CommonVcZq/tools/randomizer.h"

namespace {

DoubleList *NewChildList(const Config &config) {
    DoubleList *list = new DoubleList(1);
    list->SetCompareMode(static_cast<int>(config.GetMode()) & 6);
    return list;
}

const ConfigKey &AsKey(const CollectionElement &e) { return static_cast<const ConfigKey &>(e); }

// A name sought among the children of a group.
struct SoughtName {
    explicit SoughtName(const char *text)
        : text(text), length(static_cast<uint32_t>(strlen(text))), last(length ? text[length - 1] : 0) {}
    const char *text;
    uint32_t length;
    char last;
};

bool IsAsciiNonLetter(unsigned char c) { return c < 0x80 && !((c | 0x20) >= 'a' && (c | 0x20) <= 'z'); }

// _stricmp(key.name, sought) == 0, after two cheap rejections that cannot
// change its answer.  _stricmp folds case byte for byte, so names of
// different lengths never match, and neither do names whose last bytes
// differ where both are 7-bit non-letters, which no case folding touches.
// Numbered names (Recent1, Recent2, ...) differ just there.
bool HasName(const ConfigKey &key, const SoughtName &sought) {
    const uint32_t length = key.name.GetLength();
    if (length != sought.length)
        return false;
    if (length) {
        const unsigned char a = static_cast<unsigned char>(key.name[static_cast<int>(length) - 1]);
        const unsigned char b = static_cast<unsigned char>(sought.last);
        if (a != b && IsAsciiNonLetter(a) && IsAsciiNonLetter(b))
            return false;
    }
    return _stricmp(key.name, sought.text) == 0;
}

int IsGroupNamed(const CollectionElement &e, const void *name) {
    const ConfigKey &key = AsKey(e);
    return key.children && HasName(key, *static_cast<const SoughtName *>(name));
}

int IsValueNamed(const CollectionElement &e, const void *name) {
    const ConfigKey &key = AsKey(e);
    return !key.children && HasName(key, *static_cast<const SoughtName *>(name));
}

int IsKeyNamed(const CollectionElement &e, const void *name) {
    return HasName(AsKey(e), *static_cast<const SoughtName *>(name));
}

ConfigKey *FirstChild(const ConfigKey *group) {
    return group->children ? static_cast<ConfigKey *>(group->children->GetFirst()) : nullptr;
}

// 1 when `key` is `ancestor` or lies below it.
bool IsWithin(const ConfigKey *key, const ConfigKey *ancestor) {
    for (; key; key = key->parent)
        if (key == ancestor)
            return true;
    return false;
}

}  // namespace

// ------------------------------------------------------------- ConfigKey

ConfigKey::ConfigKey(const Config &config, const String &name, ConfigKey *parent, int isGroup)
    : name(name), userData(0), parent(parent), children(isGroup ? NewChildList(config) : nullptr), config(&config) {}

ConfigKey::ConfigKey(const ConfigKey &source, const Config &config)
    : ListElement(), userData(0), parent(nullptr), children(nullptr), config(&config) {
    Assign(source, config);
}

ConfigKey::~ConfigKey() {
    if (config->onKeyDelete)
        config->onKeyDelete(*this);
    delete children;
}

void ConfigKey::Assign(const ConfigKey &source, const Config &target) {
    if (&source == this)
        return;
    config = &target;
    name = source.name;
    value = source.value;
    delete children;
    children = nullptr;
    if (source.children) {
        children = NewChildList(target);
        children->Assign(*source.children, &target);
    }
    if (target.onKeyCopy)
        target.onKeyCopy(*this, source);
    else
        userData = source.userData;
    InitChildren(*this);
}

void ConfigKey::InitChildren(ConfigKey &group) {
    for (ConfigKey *child = FirstChild(&group); child; child = child->GetNext())
        child->parent = &group;
}

CollectionElement *ConfigKey::CreateClone(const void *config) const {
    return new ConfigKey(*this, *static_cast<const Config *>(config));
}

int32_t ConfigKey::Compare(const CollectionElement &element, int compareMode) const {
    const ConfigKey &other = AsKey(element);
    const int byName = _stricmp(name, other.name);
    if (byName != 0) {
        if ((compareMode & 4) && IsGroup() != other.IsGroup())
            return IsGroup() ? -1 : 1;
        return byName;
    }
    if (IsGroup() != other.IsGroup())
        return IsGroup() ? -1 : 1;
    const int byValue = strcmp(value, other.value);
    if (byValue != 0)
        return byValue < 0 ? -1 : 1;
    if (!IsGroup())
        return 0;
    if (children->GetCount() != other.children->GetCount())
        return 1;
    return AreEqual(*children, *other.children, children->GetCompareMode()) ? 0 : 1;
}

// ----------------------------------------------------------- construction

Config::Config(const char *name, Mode mode) : Config(name, FileName(), 0, mode) {}

Config::Config(const char *name, const FileName &file, int autoSave, Mode mode)
    : onKeyCopy(nullptr),
      onKeyDelete(nullptr),
      mode(mode),
      root(*this, String(name ? name : ""), nullptr, 1),
      current(&root),
      depth(0),
      fileName(file),
      autoCreate(1),
      autoSave(autoSave),
      wrongFileTime(1) {
    Load(file);
}

// The hooks and the mode are fields ahead of the root, so the copied keys
// already see the copy's hook and compare mode.
Config::Config(const Config &other)
    : onKeyCopy(other.onKeyCopy),
      onKeyDelete(other.onKeyDelete),
      mode(other.mode),
      root(other.root, *this),
      current(&root),
      depth(0),
      fileName(other.fileName),
      autoCreate(other.autoCreate),
      autoSave(other.autoSave),
      wrongFileTime(other.wrongFileTime) {}

Config &Config::operator=(const Config &other) {
    if (&other == this)
        return *this;
    // The old keys go with the old hooks, the new ones come with the new.
    Clear();
    onKeyCopy = other.onKeyCopy;
    onKeyDelete = other.onKeyDelete;
    mode = other.mode;
    root.Assign(other.root, *this);
    current = &root;
    depth = 0;
    pendingLine.Clear();
    fileName = other.fileName;
    autoCreate = other.autoCreate;
    autoSave = other.autoSave;
    wrongFileTime = other.wrongFileTime;
    return *this;
}

// The automatic save swallows its failures: Save without rethrow.
Config::~Config() {
    if (autoSave && !fileName.IsEmpty())
        Save(fileName, 0);
}

Config::ComposedName::ComposedName(const char *name, int index) {
    strcpy_n(text, name ? name : "", sizeof text);
    if (index != 0) {
        char digits[16];
        _itoa(index, digits, 10);
        const size_t length = strlen(text);
        strcpy_n(text + length, digits, static_cast<uint32_t>(sizeof text - length));
    }
}

// ---------------------------------------------------------------- position

ConfigKey *Config::MoveToRoot() { return current = &root; }

ConfigKey *Config::MoveTo(ConfigKey *key) { return current = key; }

ConfigKey *Config::MoveUp() {
    if (current->parent)
        current = current->parent;
    return current;
}

ConfigKey *Config::MoveDown(const char *name, int index) {
    const ComposedName composed(name, index);
    if (!(mode & MultipleGroups)) {
        if (ConfigKey *group = FindGroup(composed))
            return current = group;
    }
    if (!autoCreate)
        return current;
    return current = LinkIntoCurrent(new ConfigKey(*this, String(composed), current, 1));
}

ConfigKey *Config::MoveDown(const String &name, int index) { return MoveDown(name.c_str(), index); }

ConfigKey *Config::MoveDownUniqueKey(const char *name) {
    return MoveDown(name ? name : "K_", static_cast<int>(_defaultRandomizer.Get(0x7fffffff)));
}

ConfigKey *Config::MoveAbsolute(const char *path) {
    if (path[0] == '\\')
        current = &root;
    List<StringItem<ListElement>> components;
    ExplodeString(components, path, "\\", 1);
    for (StringItem<ListElement> *c = components.GetFirst(); c; c = components.GetNext(c))
        MoveDown(c->c_str(), 0);
    return current;
}

// ---------------------------------------------------------- keys of a group

ConfigKey *Config::FindGroup(const char *name) const {
    if (!current->children)
        return nullptr;
    const SoughtName sought(name);
    return static_cast<ConfigKey *>(current->children->FindFirstThat(IsGroupNamed, &sought));
}

ConfigKey *Config::FindValue(const char *name) const {
    if (!current->children)
        return nullptr;
    const SoughtName sought(name);
    return static_cast<ConfigKey *>(current->children->FindFirstThat(IsValueNamed, &sought));
}

ConfigKey *Config::FindKey(const char *name) const {
    if (!current->children)
        return nullptr;
    const SoughtName sought(name);
    return static_cast<ConfigKey *>(current->children->FindFirstThat(IsKeyNamed, &sought));
}

ConfigKey *Config::LinkIntoCurrent(ConfigKey *key) {
    // MoveTo may have put the position on a value key; writing into it
    // makes it a group rather than dereferencing a missing list.
    if (!current->children)
        ValueToGroup(current);
    if (mode & 6)
        current->children->InsertInSortedList(key);
    else
        current->children->Append(key);
    return key;
}

ConfigKey *Config::CreateKey(const String &name) {
    return LinkIntoCurrent(new ConfigKey(*this, name, current, 0));
}

void Config::GroupToValue(ConfigKey *key) {
    if (!key->children || !key->parent)
        return;
    if (IsWithin(current, key))
        current = key->parent;
    delete key->children;
    key->children = nullptr;
}

void Config::ValueToGroup(ConfigKey *key) {
    if (!key->children)
        key->children = NewChildList(*this);
}

void Config::DeleteKey(const char *name, int index) { DeleteKey(FindKey(ComposedName(name, index))); }

void Config::DeleteKey(ConfigKey *key) {
    if (!key || !key->parent)
        return;
    if (IsWithin(current, key))
        current = key->parent;
    key->parent->children->Delete(key);
}

void Config::DeleteKeys() {
    if (current->children)
        current->children->DeleteAll();
}

void Config::Clear() {
    current = &root;
    DeleteKeys();
}

void Config::DeleteEmptyGroupsBelow(ConfigKey &group) {
    for (ConfigKey *child = FirstChild(&group); child;) {
        ConfigKey *next = child->GetNext();
        if (child->children) {
            DeleteEmptyGroupsBelow(*child);
            if (child->children->IsEmpty())
                group.children->Delete(child);
        }
        child = next;
    }
}

void Config::DeleteEmptyGroups() {
    // Deleting keys below the position never takes the position away: the
    // walk starts at it.
    DeleteEmptyGroupsBelow(*current);
}

int Config::ExistKey(const char *name, int index) const { return FindKey(ComposedName(name, index)) != nullptr; }

int Config::ExistValue(const char *name, int index) const {
    return FindValue(ComposedName(name, index)) != nullptr;
}

int Config::ExistGroup(const char *name, int index) const {
    return FindGroup(ComposedName(name, index)) != nullptr;
}

ConfigKey *Config::GetFirstKey() const { return FirstChild(current); }

ConfigKey *Config::GetKey(int position) const {
    if (position < 0 || static_cast<uint32_t>(position) >= GetNumKeys())
        return nullptr;
    return static_cast<ConfigKey *>(&(*current->children)[position]);
}

uint32_t Config::GetNumKeys() const {
    return current->children ? static_cast<uint32_t>(current->children->GetCount()) : 0;
}

uint32_t Config::GetNumGroups() const {
    uint32_t groups = 0;
    for (ConfigKey *child = FirstChild(current); child; child = child->GetNext())
        groups += child->children != nullptr;
    return groups;
}

uint32_t Config::GetNumValues() const { return GetNumKeys() - GetNumGroups(); }

// ------------------------------------------------------------------- walks

void Config::ForEachKey(void (*f)(ConfigKey &, void *), void *data) const { ForEachKey(current, f, data); }

void Config::ForEachKey(const ConfigKey *start, void (*f)(ConfigKey &, void *), void *data) const {
    for (ConfigKey *child = FirstChild(start); child;) {
        if (child->children && !child->children->IsEmpty())
            ForEachKey(child, f, data);
        ConfigKey *next = child->GetNext();
        f(*child, data);
        child = next;
    }
}

ConfigKey *Config::FindFirstThat(int (*test)(const ConfigKey &, const void *), const void *data) const {
    return FindFirstThat(&root, test, data);
}

ConfigKey *Config::FindFirstThat(const ConfigKey *start, int (*test)(const ConfigKey &, const void *),
                                 const void *data) const {
    for (ConfigKey *child = FirstChild(start); child; child = child->GetNext()) {
        if (child->children && !child->children->IsEmpty()) {
            if (ConfigKey *found = FindFirstThat(child, test, data))
                return found;
        }
        if (test(*child, data))
            return child;
    }
    return nullptr;
}

// ---------------------------------------------------------- KeyFinder

ConfigKey *Config::KeyFinder::GetFirst() {
    next = FirstChild(config.current);
    return GetNext();
}

ConfigKey *Config::KeyFinder::GetNext() {
    ConfigKey *key = next;
    if (key)
        next = key->GetNext();
    return key;
}
