// Keeping saved strings in memory.
#include "saves.h"

#include "player.h"
#include "strfuncs.h"

#include <filesystem>

namespace {

class Saves : public Feature, public SaveStore {
public:
    Saves(Player& owner, const std::map<std::string, std::string>& recorded) : player(owner), kept(recorded) {
        player.seams.saves = this;
    }

    void Load(const char* key, DataBlock* data) override {
        const std::string name = SaveName(key);
        if (name.empty())
            return;
        const auto known = kept.find(name);
        if (known != kept.end())
            return data->Assign(known->second.c_str());
        player.saveManager.LoadData(key, data);
        kept[name] = data->CStr();
    }

    void Save(const char* key, DataBlock* data) override {
        const std::string name = SaveName(key);
        if (name.empty())
            return;
        kept[name] = data->CStr();
        if (player.options.paced)
            player.saveManager.SaveData(key, data);
    }

private:
    Player& player;
    std::map<std::string, std::string> kept; // texts; empty where there is no file
};

} // namespace

std::unique_ptr<Feature> MakeSaves(Player& player, const std::map<std::string, std::string>& saves) {
    return std::make_unique<Saves>(player, saves);
}

std::string SaveName(const char* key) {
    return std::filesystem::path(nativePath(key)).lexically_normal().generic_string();
}
