#include "config/config.h"

#include <gtest/gtest.h>

#include <string.h>

#include <string>
#include <vector>

namespace {

// The keys below `group` in list order: value keys as name=value (bare
// names when empty), groups as name{...}.
std::string Dump(const ConfigKey *group) {
    std::string s;
    for (const ConfigKey *k = static_cast<ConfigKey *>(group->children->GetFirst()); k; k = k->GetNext()) {
        if (!s.empty())
            s += ',';
        s += k->name.c_str();
        if (k->IsGroup())
            s += "{" + Dump(k) + "}";
        else if (!k->value.IsEmpty())
            s += std::string("=") + k->value.c_str();
        EXPECT_EQ(k->parent, group);
    }
    return s;
}

std::string Dump(const Config &c) { return Dump(c.GetRoot()); }

TEST(ConfigTree, MoveDownFindsOrCreatesByTheFlags) {
    Config c("Root");
    ConfigKey *a = c.MoveDown("Alpha");
    EXPECT_EQ(a->parent, c.GetRoot());
    c.MoveUp();
    EXPECT_EQ(c.MoveDown("ALPHA"), a);  // found without regard to case
    EXPECT_STREQ(a->name.c_str(), "Alpha");
    c.MoveToRoot();
    c.SetAutoCreate(0);
    EXPECT_EQ(c.MoveDown("Missing"), c.GetRoot());
    EXPECT_EQ(c.MoveUp(), c.GetRoot());  // the root has no parent to go to
    EXPECT_STREQ(c.MoveDownUniqueKey(nullptr)->name.c_str(), "Root");  // nothing made
    c.SetAutoCreate(1);
    EXPECT_EQ(strncmp(c.MoveDownUniqueKey(nullptr)->name.c_str(), "K_", 2), 0);
    c.MoveToRoot();
    EXPECT_EQ(c.GetNumGroups(), 2u);
}

TEST(ConfigTree, MultipleGroupsMakesSiblingsOrNeverMoves) {
    Config c("R", Config::MultipleGroups);
    ConfigKey *first = c.MoveDown("G");
    c.MoveUp();
    EXPECT_NE(c.MoveDown("G"), first);
    c.MoveUp();
    EXPECT_EQ(Dump(c), "G{},G{}");
    c.SetAutoCreate(0);
    EXPECT_EQ(c.MoveDown("G"), c.GetRoot());
}

TEST(ConfigTree, ComposedNamesArePlainText) {
    Config c("R");
    c.CreateKey("Item1");
    EXPECT_TRUE(c.ExistKey("Item", 1));
    c.MoveDown("Item", -2);
    EXPECT_STREQ(c.GetCurrentKey()->name.c_str(), "Item-2");
    c.MoveToRoot();
    EXPECT_FALSE(c.ExistKey("Item", 0));  // index 0 is "Item", not "Item0"
    const std::string longName(300, 'x');
    c.MoveDown(longName.c_str(), 7);
    EXPECT_EQ(c.GetCurrentKey()->name.GetLength(), 255u);
}

TEST(ConfigTree, GroupAndValueOfOneNameCoexist) {
    Config c("R");
    c.SetValue(1, "Same");
    c.MoveDown("Same");
    c.SetValue(2, "Inner");
    c.MoveUp();
    EXPECT_TRUE(c.ExistGroup("same") && c.ExistValue("same") && c.ExistKey("same"));
    EXPECT_EQ(c.GetValue(0, "Same"), 1);
    EXPECT_EQ(c.GetNumKeys(), 2u);
    EXPECT_EQ(c.GetNumGroups(), 1u);
    EXPECT_EQ(c.GetNumValues(), 1u);
    c.DeleteKey("Same");  // the first in list order: the value
    EXPECT_EQ(Dump(c), "Same{Inner=2}");
    EXPECT_EQ(c.GetKey(0), c.GetFirstKey());
    EXPECT_EQ(c.GetKey(1), nullptr);
    EXPECT_EQ(c.GetKey(-1), nullptr);
}

TEST(ConfigTree, MoveAbsoluteWalksPaths) {
    Config c("R");
    c.MoveAbsolute("\\a\\\\ b \\");
    EXPECT_STREQ(c.GetCurrentKey()->name.c_str(), "b");
    c.MoveAbsolute("c");  // relative to b
    EXPECT_EQ(Dump(c), "a{b{c{}}}");
    EXPECT_EQ(c.MoveAbsolute("\\"), c.GetRoot());
    // With autoCreate off a missing component is passed over.
    c.SetAutoCreate(0);
    EXPECT_EQ(c.MoveAbsolute("\\x\\a"), c.GetRoot()->children->GetFirst());
    // A backslash is an ordinary character to MoveDown.
    c.SetAutoCreate(1);
    c.MoveToRoot();
    c.MoveDown("p\\q");
    EXPECT_STREQ(c.GetCurrentKey()->name.c_str(), "p\\q");
}

TEST(ConfigTree, DeletingMovesThePositionOutOfTheWay) {
    Config c("R");
    ConfigKey *a = c.MoveAbsolute("\\a");
    c.MoveAbsolute("\\a\\b\\c");
    c.DeleteKey(a);  // the position was below it
    EXPECT_EQ(c.GetCurrentKey(), c.GetRoot());
    ConfigKey *d = c.MoveDown("d");
    c.DeleteKey(d);
    EXPECT_EQ(c.GetCurrentKey(), c.GetRoot());
    c.DeleteKey(static_cast<ConfigKey *>(nullptr));
    c.DeleteKey(c.GetRoot());
    c.DeleteKey("none");
    c.MoveAbsolute("\\x\\y\\z");
    c.Clear();
    EXPECT_EQ(c.GetCurrentKey(), c.GetRoot());
    EXPECT_EQ(c.GetName(), "R");
    EXPECT_EQ(c.GetNumKeys(), 0u);
}

TEST(ConfigTree, GroupToValueAndBack) {
    Config c("R");
    ConfigKey *g = c.MoveAbsolute("\\g\\inner");
    g = g->parent;
    c.GroupToValue(g);
    EXPECT_EQ(c.GetCurrentKey(), c.GetRoot());
    EXPECT_TRUE(g->IsValue());
    g->value = "kept";
    c.ValueToGroup(g);
    EXPECT_TRUE(g->IsGroup() && g->children->IsEmpty());
    EXPECT_STREQ(g->value.c_str(), "kept");
    c.GroupToValue(c.GetRoot());
    EXPECT_TRUE(c.GetRoot()->IsGroup());
}

void Record(ConfigKey &key, void *names) { static_cast<std::vector<std::string> *>(names)->push_back(key.name.c_str()); }
void DeleteIt(ConfigKey &key, void *) { key.parent->children->Delete(&key); }
int NamedB(const ConfigKey &key, const void *) { return key.name[0] == 'b'; }

TEST(ConfigTree, WalksArePostOrderAndSurviveDeletion) {
    Config c("R");
    c.MoveAbsolute("\\a\\b1");
    c.CreateKey("v");
    c.MoveAbsolute("\\a\\empty");
    c.MoveAbsolute("\\b2");
    c.MoveToRoot();
    std::vector<std::string> names;
    c.ForEachKey(Record, &names);
    EXPECT_EQ(names, (std::vector<std::string>{"v", "b1", "empty", "a", "b2"}));
    // The search without a start covers the whole tree, the inner hit first.
    c.MoveAbsolute("\\b2");
    EXPECT_STREQ(c.FindFirstThat(NamedB, nullptr)->name.c_str(), "b1");
    names.clear();
    c.ForEachKey(Record, &names);  // only below b2
    EXPECT_TRUE(names.empty());
    c.ForEachKey(c.GetRoot(), DeleteIt, nullptr);
    EXPECT_EQ(c.GetRoot()->children->GetCount(), 0);
}

TEST(ConfigTree, DeleteEmptyGroupsStartsAtThePosition) {
    Config c("R");
    c.MoveAbsolute("\\keep\\only\\empty");
    c.MoveAbsolute("\\full\\e1\\e2");
    c.MoveAbsolute("\\full\\value");
    c.CreateKey("v");
    c.MoveAbsolute("\\full");
    c.DeleteEmptyGroups();
    EXPECT_EQ(Dump(c), "keep{only{empty{}}},full{value{v}}");
    c.MoveAbsolute("\\keep");
    c.DeleteEmptyGroups();
    EXPECT_EQ(Dump(c), "keep{},full{value{v}}");  // the start itself stays
}

TEST(ConfigTree, SortedModesOrderKeys) {
    Config sorted("R", Config::Sorted);
    Config groupsFirst("R", Config::SortedGroupsFirst);
    for (Config *c : {&sorted, &groupsFirst}) {
        c->MoveDown("Z");
        c->MoveUp();
        c->CreateKey("A");
        c->SetValue(1, "M");
        c->MoveDown("M");
        c->MoveUp();
        c->CreateKey("b");
        c->CreateKey("B");  // equal keys keep arrival order
    }
    EXPECT_EQ(Dump(sorted), "A,b,B,M{},M=1,Z{}");
    EXPECT_EQ(Dump(groupsFirst), "M{},Z{},A,b,B,M=1");
}

TEST(ConfigTree, EqualityFollowsOrderNamesAndValues) {
    Config a("Root"), b("ROOT");
    a.SetValue("x", "K1");
    a.SetValue("y", "K2");
    b.SetValue("x", "k1");
    b.SetValue("y", "k2");
    EXPECT_TRUE(a == b);
    b.SetValue("Y", "k2");
    EXPECT_TRUE(a != b);
    Config c("Root");
    c.SetValue("y", "K2");
    c.SetValue("x", "K1");
    EXPECT_TRUE(a != c);
    Config d("Other");
    d.SetValue("x", "K1");
    d.SetValue("y", "K2");
    EXPECT_TRUE(a != d);
}

int deletions;
void CountDeletion(ConfigKey &) { ++deletions; }
void MarkCopy(ConfigKey &target, const ConfigKey &source) { target.userData = source.userData + 100; }

TEST(ConfigTree, CopiesAreDeepAndCarryHooks) {
    Config a("A", Config::Sorted);
    a.onKeyCopy = MarkCopy;
    a.MoveAbsolute("\\g\\h")->userData = 5;
    a.SetValue(1, "v");
    Config b(a);
    EXPECT_TRUE(a == b);
    EXPECT_EQ(b.GetCurrentKey(), b.GetRoot());
    EXPECT_EQ(b.GetMode(), Config::Sorted);
    ConfigKey *h = b.MoveAbsolute("\\g\\h");
    EXPECT_EQ(h->userData, 105u);  // the hook replaces the plain copy
    EXPECT_EQ(h->config, &b);
    EXPECT_EQ(h->children->GetCompareMode(), 2);
    b.SetValue(2, "v");
    EXPECT_TRUE(a != b);

    Config e("E");
    e.SetValue(1, "w");
    Config &self = e;
    e = self;
    EXPECT_EQ(e.GetValue(0, "w"), 1);
    e = a;
    EXPECT_TRUE(e == a);
    EXPECT_EQ(e.GetCurrentKey(), e.GetRoot());

    deletions = 0;
    {
        Config d("D");
        d.onKeyDelete = CountDeletion;
        d.MoveAbsolute("\\x\\y");
        d.CreateKey("z");
    }
    EXPECT_EQ(deletions, 4);  // root, x, y, z
}

TEST(ConfigTree, KeyFinderAndPathSaver) {
    Config c("R");
    for (const char *name : {"a", "b", "c"})
        c.CreateKey(name);
    Config::KeyFinder finder(c);
    std::string seen;
    for (ConfigKey *k = finder.GetFirst(); k; k = finder.GetNext()) {
        seen += k->name.c_str();
        c.DeleteKey(k);
    }
    EXPECT_EQ(seen, "abc");
    EXPECT_EQ(c.GetNumKeys(), 0u);
    ConfigKey *deep = c.MoveAbsolute("\\p\\q");
    {
        Config::PathSaver saver(c);
        c.MoveToRoot();
    }
    EXPECT_EQ(c.GetCurrentKey(), deep);
}

}  // namespace
