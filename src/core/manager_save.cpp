// Saved data: plain files named by their keys. Nothing is kept between calls but the game's name.
#include "manager.h"

namespace {

// The empty path is kept from the file functions, which would look for a place beside it.
bool namesFile(const char* key) {
    return key && *key;
}

} // namespace

void SaveManager::SetGame(const char* name) {
    gameName.Assign(name ? name : "");
}

void SaveManager::SaveData(const char* key, DataBlock* data) {
    if (namesFile(key) && data)
        data->WriteFile(key);
}

void SaveManager::LoadData(const char* key, DataBlock* data) {
    if (namesFile(key) && data)
        data->ReadFile(key);
}
