// Groups, entries, pages and lookups of the manager base; the text cache; saved data.
#include "manager.h"

#include "gl_files.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <set>
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
    std::mt19937 random(7);
    // Many equal names, some only in other case, some only up to where they are cut.
    const auto any = [&](int numbers) {
        const std::string starts[] = {"", "bad", "item", "Item", "wall_", std::string(31, 'x')};
        return random() % 9 ? starts[random() % 6] + std::to_string(random() % numbers) : "";
    };
    const auto cut = [](const std::string& name) { return name.substr(0, 31); };
    for (int index = 0; index < 1500; index++) {
        const std::string group = any(9), name = any(90);
        const auto inGroup = [&](const Item& item) { return item.group == cut(group); };
        model.push_back({cut(group), cut(name), int(std::count_if(model.begin(), model.end(), inGroup))});
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
        const std::string askedGroup = any(9), asked = any(90); // there or not
        int local = -1;
        for (const Item& other : model)
            if (local < 0 && other.group == cut(askedGroup) && other.name == cut(asked))
                local = other.local;
        ASSERT_EQ(manager.GetIndex(asked.c_str(), askedGroup.c_str()), local) << askedGroup << " " << asked;
    }
    for (int outside : {-5, -1, 1500, 5000, INT_MIN, INT_MAX})
        EXPECT_EQ(manager.GetItem(outside), nullptr) << outside;
}

// Names that differed in their last byte alone once lay side by side in the table: every lookup was a long
// walk.
TEST_F(ManagerTest, SpreadsNamesThatDifferInOneByte) {
    for (std::size_t at = 0; at < 31; at++) {
        std::set<unsigned> places;
        for (int value = 0; value < 256; value++) {
            std::string name(at + 1, 'n');
            name[at] = static_cast<char>(value);
            places.insert(hashBytes(name.data(), name.size()) % 512);
        }
        EXPECT_GT(places.size(), 150u) << at; // 201 are to be expected
    }
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

TEST_F(ManagerTest, CachesTextsLikeAPlainList) {
    struct Text {
        std::string string;
        GeomTextParams layout;
        int id;
        float drawn;
    };
    std::vector<Text> model;
    std::mt19937 random(5);
    const float spacings[] = {0.0f, -0.0f, 0.5f, 1e-40f, NAN};
    float now = 0;
    int nextId = 0;
    for (int step = 0; step < 6000; step++) {
        const std::string string = std::to_string(random() % 12);
        GeomTextParams layout{random() % 4 ? 1 : 0, spacings[random() % 4], spacings[random() % 50 ? 0 : 4]};
        GeomTextParams* params = random() % 4 ? &layout : nullptr;
        const GeomTextParams key = params ? layout : GeomTextParams();
        const auto equal = [&](const Text& text) {
            return text.string == string && text.layout.align == key.align &&
                   text.layout.spacing == key.spacing && text.layout.lineSpacing == key.lineSpacing;
        };
        const int id = nextId - static_cast<int>(random() % 40);
        const unsigned action = random() % 8;
        if (action < 2) {
            texts.TimeStep(now += 0.25f, 0.25f);
            const auto old = [&](const Text& text) { return now - text.drawn > 5; };
            if (now == std::floor(now))
                model.erase(std::remove_if(model.begin(), model.end(), old), model.end());
        } else if (action == 2) {
            texts.Draw(id);
            for (Text& text : model)
                text.drawn = text.id == id ? now : text.drawn;
        } else {
            const auto found = action == 3 ? model.end() : std::find_if(model.begin(), model.end(), equal);
            if (action == 3)
                EXPECT_EQ(texts.AddText(string.c_str(), params), nextId);
            else
                texts.CreateDrawText(string.c_str(), params);
            if (found == model.end())
                model.push_back({string, key, nextId++, action == 3 ? 0 : now});
            else
                found->drawn = now;
        }
        ASSERT_EQ(texts.texts.Count(), static_cast<int>(model.size())) << step;
        for (const Text& text : model) {
            auto* cached = static_cast<TextObj*>(texts.texts.Get(static_cast<int>(&text - model.data())));
            ASSERT_TRUE(cached->id == text.id && cached->lastDrawn == text.drawn) << step;
        }
    }
    texts.CreateDrawText(nullptr, nullptr);
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
