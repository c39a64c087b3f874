// The text format of Config on memory blocks, and the path list form.
//
// The reader keeps one significant line of look-ahead in `pendingLine`, so
// that it knows whether a line is followed by "{" and so names a group.
// Every line goes into the tree through the ordinary members (MoveDown,
// SetTheValue, CreateKey), which is what makes repeated names merge or add
// up as they do.
#include <string.h>

#include "CommonVcZq/config/config.h"
#include "CommonVcZq/tools/memory_stream.h"

namespace {

// The next line with content, trimmed of blanks and tabs at both ends; the
// empty text at the end of the block.
String NextSignificantLine(MemoryStream &stream) {
    while (!stream.End()) {
        String line = stream.GetLine();
        line.Trim(" \t", 3);
        if (!line.IsEmpty())
            return line;
    }
    return String();
}

bool Is(const String &line, const char *text) { return strcmp(line.c_str(), text) == 0; }

void AppendPath(ConfigKey &key, void *paths) {
    if (key.IsGroup())
        return;
    // The names from below the root down to the key.
    String path(key.name);
    for (const ConfigKey *group = key.parent; group && group->parent; group = group->parent) {
        path.Prepend('\\');
        path.Prepend(group->name);
    }
    if (!path.IsEmpty())
        static_cast<List<StringItem<ListElement>> *>(paths)->Append(new StringItem<ListElement>(path));
}

}  // namespace

// ------------------------------------------------------------------ reading

String Config::GetNextLine(MemoryStream &stream, int *opensGroup) {
    *opensGroup = 0;
    if (pendingLine.IsEmpty())
        pendingLine = NextSignificantLine(stream);
    if (pendingLine.IsEmpty())
        return String();
    String line = pendingLine;
    String next = NextSignificantLine(stream);
    if (Is(next, "{")) {
        *opensGroup = 1;
        pendingLine = NextSignificantLine(stream);
    } else {
        pendingLine = next;
    }
    return line;
}

// Reads the entries of the group at `depth` and, in the same loop, of every
// group nested in it: a loop with the depth as its only state, rather than
// a call for each level, so that no input can exhaust the stack here.  A
// "}" at the starting depth, or the end of the input at any depth, ends it.
//
// `depth` counts every "{" still open, the root's included, while only the
// groups down to MaxBlockDepth below the root are entered.  Deeper heads
// are dropped and their braces only counted, so their entries land in the
// deepest group entered and the braces after them still pair up.
void Config::ReadGroup(MemoryStream &stream) {
    const int startDepth = depth;
    for (;;) {
        int opensGroup;
        const String line = GetNextLine(stream, &opensGroup);
        if (line.IsEmpty())
            break;
        if (Is(line, "}")) {
            if (depth == startDepth)
                break;
            // Back at depth 1 to MaxBlockDepth, the "}" closes a group that
            // MoveDown entered; at 0 it closes the root, which stays current.
            --depth;
            if (depth != 0 && depth <= MaxBlockDepth)
                MoveUp();
            continue;
        }
        if (opensGroup) {
            if (depth == 0)
                root.name = line;
            else if (depth <= MaxBlockDepth)
                MoveDown(line, 0);
            ++depth;
            continue;
        }
        const int32_t equals = line.FindFirst('=');
        if (equals >= 1)
            SetTheValue(String(line.Mid(static_cast<uint32_t>(equals) + 1)),
                        String(line.Left(static_cast<uint32_t>(equals))));
        else
            CreateKey(line);
    }
    depth = startDepth;
}

void Config::BuildFromBlock(const char *block, unsigned int size) {
    if (!block)
        return;
    Clear();
    autoCreate = 1;
    pendingLine.Clear();
    MemoryStream stream(static_cast<const void *>(block), size);
    depth = 0;
    ReadGroup(stream);
    // Nothing of the reading stays behind, not even the look-ahead after a
    // closing "}" of the root.
    pendingLine.Clear();
    current = &root;
    DeleteEmptyGroups();
}

// ------------------------------------------------------------------ writing

void Config::WriteGroup(const ConfigKey *key, MemoryStream &stream) {
    if (!key)
        return;
    stream.Put('\t', depth);
    stream.PutLine(key->name);
    stream.Put('\t', depth);
    stream.PutLine("{");
    for (const ConfigKey *child = static_cast<const ConfigKey *>(key->children->GetFirst()); child;
         child = child->GetNext()) {
        if (child->IsValue()) {
            stream.Put('\t', depth + 1);
            stream.PutString(child->name, 0);
            if (!child->value.IsEmpty()) {
                stream.Put('=');
                stream.PutString(child->value, 0);
            }
            stream.PutLine("");
        } else if (!child->children->IsEmpty()) {
            ++depth;
            WriteGroup(child, stream);
            --depth;
        }
    }
    stream.Put('\t', depth);
    stream.PutLine("}");
}

char *Config::GetAsBlock(unsigned int *size) {
    DeleteEmptyGroups();
    depth = 0;
    // The block outlives the stream: the caller frees it.
    MemoryStream stream(2048, 0);
    WriteGroup(&root, stream);
    if (size)
        *size = stream.GetPosition();
    current = &root;
    return reinterpret_cast<char *>(stream.GetStart());
}

// ---------------------------------------------------------------- path list

uint32_t Config::GetAsPathList(List<StringItem<ListElement>> &paths) const {
    paths.DeleteAll();
    ForEachKey(&root, AppendPath, &paths);
    return static_cast<uint32_t>(paths.GetCount());
}

void Config::BuildFromPathList(const List<StringItem<ListElement>> &paths) {
    Clear();
    autoCreate = 1;
    List<StringItem<ListElement>> components;
    for (const StringItem<ListElement> *path = paths.GetFirst(); path; path = paths.GetNext(path)) {
        ExplodeString(components, path->c_str(), "\\", 1);
        current = &root;
        int level = 0;
        for (const StringItem<ListElement> *c = components.GetFirst(); c; c = components.GetNext(c)) {
            if (c == components.GetLast())
                CreateKey(*c);
            else if (++level <= MaxBlockDepth)
                MoveDown(c->c_str(), 0);
        }
    }
}
