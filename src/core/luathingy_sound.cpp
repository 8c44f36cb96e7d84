// Engine functions for sounds and music.
#include "luathingy_api.h"

#include "lua_api.h"
#include "luathingy.h"

#include <algorithm>
#include <climits>
#include <cstdio>

namespace {

AudioManager* soundsOf(lua_State* L) {
    LuaThingy* host = HostOf(L);
    return host ? &host->audioManager : nullptr;
}

MusicManager* musicOf(lua_State* L) {
    LuaThingy* host = HostOf(L);
    return host ? &host->musicManager : nullptr;
}

/// Arguments of AudioProps and MusicProps.
struct SoundProps {
    int number; // channel or player
    float volume, pitch;
    bool loop;
    float x, y, z;
};

SoundProps readSoundProps(lua_State* L) {
    return {ArgInt(L, 1),   ArgFloat(L, 2), OptFloat(L, 3, 1), ArgFlag(L, 4),
            ArgFloat(L, 5), ArgFloat(L, 6), ArgFloat(L, 7)};
}

// The values at the keys 1 to n of the list at index. None of these Lua calls raises.
void readList(lua_State* L, int index, FloatDataBlock* values) {
    const int count = static_cast<int>(std::min<size_t>(lua_objlen(L, index), INT_MAX));
    for (int i = 1; i <= count; ++i) {
        lua_rawgeti(L, index, i);
        values->AddVal(ArgFloat(L, -1));
        lua_pop(L, 1);
    }
}

void pushList(lua_State* L, const FloatDataBlock& values) {
    const int count = values.ValCount();
    lua_createtable(L, count, 0);
    for (int i = 0; i < count; ++i) {
        lua_pushnumber(L, values.GetVal(i));
        lua_rawseti(L, -2, i + 1);
    }
}

} // namespace

// ---- Sounds ----

int pubLAddAudio(lua_State* L) {
    return AddContentItem(L, soundsOf(L), "AddAudio", "addaudio");
}

int pubLNewAudio(lua_State* L) {
    const int count = NeedArgs(L, 1, "addaudiodata");
    const char* name = ArgString(L, 1, "GetNewAudio");
    const char* group = count == 2 ? ArgGroup(L, 2, "GetNewAudio") : "";
    AudioManager* sounds = soundsOf(L);
    lua_pushinteger(L, sounds && name && group ? sounds->NewAudio(name, group) : -1);
    return 1;
}

int pubLSetAudioData(lua_State* L) {
    NeedArgs(L, 1, "addaudiodata");
    AudioManager* sounds = soundsOf(L);
    if (!sounds)
        return 0;
    if (!lua_istable(L, 2)) {
        printf("ERR: missing list argument: SetAudioData\n");
        return 0;
    }
    FloatDataBlock values;
    readList(L, 2, &values);
    sounds->SetAudioData(ArgInt(L, 1), values.GetPointer(), values.ValCount(), ArgInt(L, 3), ArgInt(L, 4),
                         ArgInt(L, 5));
    return 0;
}

int pubLGetAudioData(lua_State* L) {
    NeedArgs(L, 1, "addaudiodata");
    const int item = ArgInt(L, 1);
    LuaThingy* host = HostOf(L);
    if (!host) {
        lua_newtable(L);
        return 1;
    }
    FloatDataBlock& samples = host->scratch.samples;
    samples.Delete();
    host->audioManager.GetAudioData(item, &samples);
    pushList(L, samples);
    samples.Delete();
    return 1;
}

int pubLPlayAudio(lua_State* L) {
    AudioManager* sounds = soundsOf(L);
    UseItem(L, sounds, "Audio");
    lua_pushinteger(L, sounds ? sounds->GetLastIndex() : -1);
    return 1;
}

int pubLStopAudio(lua_State* L) {
    const int channel = ArgInt(L, 1);
    if (AudioManager* sounds = soundsOf(L))
        sounds->StopAudio(channel);
    return 0;
}

int pubLAudioProps(lua_State* L) {
    const SoundProps p = readSoundProps(L);
    AudioManager* sounds = soundsOf(L);
    if (sounds && lua_gettop(L) >= 2)
        sounds->SetAudProps(p.number, p.volume, p.pitch, p.loop, p.x, p.y, p.z);
    return 0;
}

// ---- Music ----

int pubLAddMusic(lua_State* L) {
    NeedArgs(L, 1, "music");
    const int slot = ArgInt(L, 1);
    const char* file = ArgString(L, 2, "AddMusic");
    MusicManager* music = musicOf(L);
    if (music && file)
        music->LoadFile(slot, file);
    return 0;
}

int pubLPlayMusic(lua_State* L) {
    NeedArgs(L, 1, "music");
    const int slot = ArgInt(L, 1);
    if (MusicManager* music = musicOf(L))
        music->Play(slot);
    return 0;
}

int pubLStopMusic(lua_State* L) {
    NeedArgs(L, 1, "music");
    const int slot = ArgInt(L, 1);
    if (MusicManager* music = musicOf(L))
        music->Stop(slot);
    return 0;
}

int pubLMusicProps(lua_State* L) {
    const int count = NeedArgs(L, 1, "music");
    const SoundProps p = readSoundProps(L);
    MusicManager* music = musicOf(L);
    if (music && count >= 2)
        music->SetMusicProps(p.number, p.volume, p.pitch, p.loop, p.x, p.y, p.z);
    return 0;
}
