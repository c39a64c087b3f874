#include "CommonVcZq/config/config.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

// Helpers of all the config test files.  Dump gives a group's name and its
// keys in list order: values as name=value (bare names when empty), groups
// as name{...}; each key must point at its group.
std::string Dump(const ConfigKey *group) {
    std::string s = std::string(group->name.c_str()) + "{";
    for (const ConfigKey *k = static_cast<ConfigKey *>(group->children->GetFirst()); k; k = k->GetNext()) {
        if (k->GetPrev())
            s += ',';
        if (k->IsGroup())
            s += Dump(k);
        else
            s += k->name.c_str() + (k->value.IsEmpty() ? "" : "=" + std::string(k->value.c_str()));
        EXPECT_EQ(k->parent, group);
    }
    return s + "}";
}

// Join gives a list of strings with commas between.
std::string Join(const List<StringItem<ListElement>> &list) {
    std::string s;
    for (const StringItem<ListElement> *item = list.GetFirst(); item; item = list.GetNext(item))
        s += std::string(item == list.GetFirst() ? "" : ",") + item->c_str();
    return s;
}

namespace {

TEST(ConfigTree, MovingFindsOrCreatesByTheFlags) {
    Config c("Root"), multi("R", Config::MultipleGroups);
    for (Config *x : {&c, &multi}) {
        x->MoveDown("Alpha");
        x->MoveUp();
        x->MoveDown("ALPHA");
        x->MoveUp();
        x->SetAutoCreate(0);
    }
    EXPECT_EQ(Dump(multi.GetRoot()), "R{Alpha{},ALPHA{}}");
    EXPECT_EQ(multi.MoveDown("Alpha"), multi.GetRoot());  // never looks for a group
    EXPECT_EQ(c.MoveUp(), c.GetRoot());  // the root has no parent to go to
    // With autoCreate off a missing component of a path is passed over.
    EXPECT_EQ(c.MoveAbsolute("\\x\\alpha"), c.GetRoot()->children->GetFirst());
    c.SetAutoCreate(1);
    c.MoveAbsolute("\\alpha\\\\ b \\");
    c.MoveAbsolute("c");  // relative to b
    EXPECT_EQ(c.MoveAbsolute("\\"), c.GetRoot());
    c.MoveDown("p\\q");  // a backslash is an ordinary character to MoveDown
    EXPECT_EQ(Dump(c.GetRoot()), "Root{Alpha{b{c{}}},p\\q{}}");  // groups found without regard to case
    EXPECT_STREQ(String(c.MoveDownUniqueKey(nullptr)->name.Left(2)), "K_");
}

TEST(ConfigTree, NamesAndKindsOfKeys) {
    Config c("R");
    c.SetValue(1, "Same");
    c.MoveDown("SAME");
    c.SetValue(2, "Inner");
    c.MoveUp();
    EXPECT_EQ(Dump(c.GetRoot()), "R{Same=1,SAME{Inner=2}}");
    EXPECT_EQ(c.GetNumValues(), 1u);
    c.DeleteKey("same");  // the first in list order: the value
    EXPECT_TRUE(c.ExistGroup("Same") && c.ExistKey("Same") && !c.ExistValue("Same"));
    EXPECT_EQ(c.GetKey(1), nullptr);
    EXPECT_EQ(c.GetKey(-1), nullptr);
    // An index is appended as plain text, 0 not at all; names are cut at 255.
    c.CreateKey("Item1");
    EXPECT_TRUE(c.ExistKey("Item", 1));
    EXPECT_FALSE(c.ExistKey("Item", 0));
    EXPECT_STREQ(c.MoveDown("Item", -2)->name.c_str(), "Item-2");
    EXPECT_EQ(c.MoveDown(std::string(300, 'x').c_str(), 7)->name.GetLength(), 255u);
}

TEST(ConfigTree, DeletingMovesThePositionOutOfTheWay) {
    Config c("R");
    c.DeleteKey(c.MoveAbsolute("\\a\\b\\c")->parent->parent);  // a, with the position below it
    EXPECT_EQ(c.GetCurrentKey(), c.GetRoot());
    c.DeleteKey(c.MoveDown("d"));  // the position was the key itself
    EXPECT_EQ(c.GetCurrentKey(), c.GetRoot());
    c.DeleteKey(static_cast<ConfigKey *>(nullptr));
    c.DeleteKey(c.GetRoot());
    c.DeleteKey("none");
    ConfigKey *g = c.MoveAbsolute("\\g\\inner")->parent;
    g->value = "kept";
    c.GroupToValue(g);
    EXPECT_EQ(c.GetCurrentKey(), c.GetRoot());
    EXPECT_EQ(Dump(c.GetRoot()), "R{g=kept}");
    c.ValueToGroup(g);
    c.GroupToValue(c.GetRoot());  // the root stays a group
    EXPECT_STREQ(g->value.c_str(), "kept");
    // Empty groups go from the position down, deepest first; the start stays.
    c.MoveAbsolute("\\keep\\empty");
    c.MoveTo(c.MoveAbsolute("\\full\\e1\\e2")->parent->parent);
    c.DeleteEmptyGroups();
    EXPECT_EQ(Dump(c.GetRoot()), "R{g{},keep{empty{}},full{}}");
    c.Clear();
    EXPECT_EQ(c.GetCurrentKey(), c.GetRoot());
    EXPECT_EQ(Dump(c.GetRoot()), "R{}");
}

void Record(ConfigKey &key, void *names) { static_cast<std::vector<std::string> *>(names)->push_back(key.name.c_str()); }
void DeleteIt(ConfigKey &key, void *) { key.parent->children->Delete(&key); }
int NamedB(const ConfigKey &key, const void *) { return key.name[0] == 'b'; }

TEST(ConfigTree, WalksArePostOrderAndSurviveDeletion) {
    Config c("R");
    c.MoveAbsolute("\\a\\b1\\v");  // v, an empty group, is visited but not entered
    c.MoveAbsolute("\\b2");
    std::vector<std::string> names;
    c.ForEachKey(c.GetRoot(), Record, &names);
    EXPECT_EQ(names, (std::vector<std::string>{"v", "b1", "a", "b2"}));
    // The search without a start covers the whole tree, the inner hit first.
    EXPECT_STREQ(c.FindFirstThat(NamedB, nullptr)->name.c_str(), "b1");
    c.MoveAbsolute("\\a");
    c.ForEachKey(DeleteIt, nullptr);  // below the position only
    EXPECT_EQ(Dump(c.GetRoot()), "R{a{},b2{}}");
    // KeyFinder hands out the children of the current group, also when the
    // caller deletes each.
    c.MoveToRoot();
    Config::KeyFinder finder(c);
    std::string seen;
    for (ConfigKey *k = finder.GetFirst(); k; k = finder.GetNext()) {
        seen += k->name.c_str();
        c.DeleteKey(k);
    }
    EXPECT_EQ(seen, "ab2");
    ConfigKey *deep = c.MoveAbsolute("\\p\\q");
    {
        Config::PathSaver saver(c);
        c.MoveToRoot();
    }
    EXPECT_EQ(c.GetCurrentKey(), deep);
}

int deletions;
void CountDeletion(ConfigKey &) { ++deletions; }
void MarkCopy(ConfigKey &target, const ConfigKey &source) { target.userData = source.userData + 100; }

TEST(ConfigTree, SortedModesCopiesAndEquality) {
    Config sorted("R", Config::Sorted);
    Config groupsFirst("R", Config::SortedGroupsFirst);
    for (Config *c : {&sorted, &groupsFirst}) {
        c->MoveDown("Z")->userData = 5;
        c->MoveUp();
        c->CreateKey("A");
        c->SetValue("m", "M");
        c->MoveDown("M");
        c->MoveUp();
        c->CreateKey("b");
        c->CreateKey("B");  // equal keys keep arrival order
    }
    EXPECT_EQ(Dump(sorted.GetRoot()), "R{A,b,B,M{},M=m,Z{}}");
    EXPECT_EQ(Dump(groupsFirst.GetRoot()), "R{M{},Z{},A,b,B,M=m}");
    EXPECT_TRUE(sorted != groupsFirst);  // the order counts
    EXPECT_TRUE(Config("R") != Config("S"));

    // A copy is deep and takes the mode and the hooks; its position is its root.
    sorted.onKeyCopy = MarkCopy;
    Config copy(sorted);
    EXPECT_EQ(Dump(copy.GetRoot()), Dump(sorted.GetRoot()));
    EXPECT_EQ(copy.GetCurrentKey(), copy.GetRoot());
    copy.SetValue("M", "M");
    EXPECT_TRUE(copy != sorted);  // values compare with case
    copy.SetValue("m", "M");
    copy.GetRoot()->name = "r";
    ConfigKey *z = copy.MoveDown("Z");
    z->name = "z";
    EXPECT_TRUE(copy == sorted);  // names without case
    EXPECT_EQ(z->userData, 105u);  // the hook replaces the plain copy
    EXPECT_EQ(z->config, &copy);
    EXPECT_EQ(z->children->GetCompareMode(), 2);

    Config &self = copy;
    copy = self;
    EXPECT_TRUE(copy == sorted);
    copy = groupsFirst;
    EXPECT_TRUE(copy == groupsFirst);

    deletions = 0;
    groupsFirst.onKeyDelete = CountDeletion;
    groupsFirst.MoveAbsolute("\\Z\\y");
    groupsFirst.Clear();
    EXPECT_EQ(deletions, 7);  // the six keys and y inside Z
}

}  // namespace
