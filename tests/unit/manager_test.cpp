// Groups, entries, pages and lookups of the manager base; the text cache; saved data.
#include "manager.h"

#include "gl_files.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <vector>

namespace {

int items[2000]; // item n of a RecordingManager points to items[n]

/// Loads every file but those whose name holds "bad"; logs what it is asked to do.
class RecordingManager : public MediaManager {
public:
    void QueryFile(const char* path, MediaManagerGroup* group, int* first, int* count) override {
        QueryFileOneItem(path, group, first, count);
    }
    void LoadFile(GroupFileItem* file, MediaManagerGroup* group) override {
        loads.push_back(file->path.CStr());
        const bool bad = loads.back().find("bad") != std::string::npos;
        priv_FinishLoad(file, group, bad ? nullptr : &items[group->entriesPtr[file->firstItem].globalIndex]);
    }
    void priv_Use(int* item) override { uses.push_back(item); }

    std::vector<std::string> loads;
    std::vector<int*> uses;
};

class ManagerTest : public GlFilesTest {
protected:
    RecordingManager manager;
    TextManager texts;
};

} // namespace

TEST_F(ManagerTest, LooksUpLikeAPlainList) {
    struct Item {
        std::string group, name;
        int local;
    };
    std::vector<Item> model;
    const std::string groups[] = {"", "walls", std::string(40, 'g')};
    std::mt19937 random(7);
    for (int index = 0; index < 600; index++) {
        const std::string group = groups[random() % 3];
        const std::string name = (random() % 4 ? "item" : "bad") + std::to_string(index);
        const auto inGroup = [&](const Item& item) { return item.group == group; };
        model.push_back({group, name, int(std::count_if(model.begin(), model.end(), inGroup))});
        if (random() % 2) {
            int first = -1, count = 0;
            manager.AddContent(("a/" + name + ".png").c_str(), group.c_str(), &first, &count);
            EXPECT_TRUE(first == index && count == 1);
        } else {
            int** slot = nullptr;
            EXPECT_EQ(manager.CreateEmptyItem(group.c_str(), name.c_str(), &slot), index);
            *slot = name[0] == 'b' ? nullptr : &items[index];
        }
        EXPECT_EQ(manager.subLists.Count(), (index + 1) / 256 + 1);
        const int probe = static_cast<int>(random() % model.size());
        const Item& item = model[probe];
        int* expected = item.name[0] == 'b' ? nullptr : &items[probe];
        EXPECT_EQ(manager.GetItem(item.local, item.group.c_str()), expected);
        EXPECT_EQ(manager.GetItem(probe), expected);
        EXPECT_EQ(manager.GetIndex(item.name.c_str(), item.group.c_str()), item.local);
    }
    EXPECT_EQ(manager.groups.Count(), 3) << "a long group name finds its own group";
    for (int outside : {-5, -1, 600, 5000, INT_MIN, INT_MAX})
        EXPECT_EQ(manager.GetItem(outside), nullptr) << outside;
}

TEST_F(ManagerTest, UsesAndRetriesAndReports) {
    const std::string longName(40, 'x');
    manager.SetPathPrefix("media/");
    manager.AddContent("good.png", nullptr, nullptr, nullptr);
    manager.AddContent((longName + ".png").c_str(), "walls", nullptr, nullptr);
    manager.AddContent("bad.png", "walls", nullptr, nullptr);
    manager.Use(-1);
    EXPECT_TRUE(manager.uses.empty() && manager.loads.empty());
    manager.unbindOnNone = true;
    EXPECT_EQ(printed([&] {
                  for (int index : {0, 2, -1, 3, -5})
                      manager.Use(index);
                  manager.Use("walls", longName.c_str());
                  manager.Use("walls", 0);
                  manager.Use("walls", 2);
                  manager.Use("nowhere", 0);
                  manager.Use("nowhere", "good");
                  manager.Use(nullptr);
              }),
              "Error: item index above current item count.\nError: item index above current item count.\n"
              "Error: group index 2 out of range\nError: Group not found.\nError: Group not found.\n"
              "Error: Item not found in group.\n");
    EXPECT_EQ(manager.uses, (std::vector<int*>{&items[0], nullptr, nullptr, &items[1], &items[1]}));
    EXPECT_EQ(manager.GetItem("bad", "walls"), nullptr);
    EXPECT_EQ(manager.loads, (std::vector<std::string>{"media/good.png", "media/bad.png",
                                                       "media/" + longName + ".png", "media/bad.png"}));
}

TEST_F(ManagerTest, CachesTextsUntilUnused) {
    GeomTextParams plain, centred;
    centred.align = 0;
    EXPECT_EQ(texts.AddText("never drawn", nullptr), 0);
    for (int frame = 1; frame <= 1020; frame++) {
        const float now = static_cast<float>(frame) / 60;
        texts.TimeStep(now, 1.0f / 60);
        for (GeomTextParams* params : {static_cast<GeomTextParams*>(nullptr), &plain, &centred})
            texts.CreateDrawText("every frame", params);
        if (frame <= 612) // 10.2 s
            texts.CreateDrawText(nullptr, nullptr);
        const int unused = (frame < 360) + (frame < 960); // gone in the first frame of a second past 5 s
        ASSERT_EQ(texts.texts.Count(), 2 + unused) << frame;
    }
    texts.TimeStep(NAN, 1e30f);
}

TEST_F(ManagerTest, SavesUnderTheKeyAlone) {
    SaveManager saves;
    DataBlock written("12345"), read;
    saves.SetGame("one");
    saves.SaveData("score", &written);
    saves.SaveData("", &written);
    saves.SetGame("two");
    saves.LoadData("score", &read);
    saves.LoadData(".", &read);
    EXPECT_TRUE(read.IsEqual("12345"));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir), {}), 1) << "no stray files";
}
