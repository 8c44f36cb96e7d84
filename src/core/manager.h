// Content managers: named groups of items with global indexes, one manager per kind of content, and the two
// small stores for texts and saved data. Every manager owns its items and frees them with itself.
#pragma once

#include "datablock.h"
#include "geometry.h"
#include "lazyarray.h"
#include "nameindex.h"
#include "tnmath.h"
#include "tnq.h"

#include <map>
#include <string>

class SoundBufferItem;
class SoundSlot;
class Shader;
class Texture;
struct TextKey;

namespace sf {
class Music;
}

// How content is addressed
//
// A manager numbers its items 0, 1, 2, ... in the order of registration: the global index, which never
// changes. The loaded objects hang in a table of pages, 256 slots each: global index g lives in slot g % 256
// of page g / 256, and a null slot means "not loaded". Pages never move, so the address of a slot stays good
// for ever.
//
// Beside the table every item is an entry of one group, where it has a name and a local index (its place in
// that group). Group 0 is the default group: it has the empty name, and null asks for it too. Files are
// remembered in the group that they were added to; an entry knows its file, so that the first request can
// load it.
//
// Example: with the prefix "media/", AddContent("stone.png", "walls", ...) and then AddContent("oak.png", "",
// ...) give "stone" the global index 0 (group "walls", local index 0) and "oak" the global index 1 (default
// group, local index 0). Neither file is opened before someone uses it: Use(0), Use("walls", "stone") and
// Use("walls", 0) all load and use the stone.
//
// Every lookup takes the same time however many items and groups there are: names are found through a
// HashIndex beside each list, and a page knows where its items stand in their groups. Entries and groups are
// put into the index by the first lookup after their registration; from then on their names stay as they are.
//
// Items are handed around as int*, an untyped pointer: only the derived manager knows the real type.

/// Hears of content files that are read, each once: meshes and sounds when they are registered, the others at
/// the first use of what they hold.
class LoadObserver {
public:
    virtual ~LoadObserver() = default;
    virtual void LoadBegins() = 0;
    /// @param path with the content prefix; good for this call only
    virtual void LoadEnded(const char* path) = 0;
};

/// The one observer of the process, not owned; null, as in the engine program, when nobody listens.
extern LoadObserver* loadObserver;

/// While one lives, its file is read; the observer is told.
class ObservedLoad {
public:
    /// @param file as LoadEnded gets it; must outlive the object
    explicit ObservedLoad(const char* file) : path(file) {
        if (loadObserver)
            loadObserver->LoadBegins();
    }
    ~ObservedLoad() {
        if (loadObserver)
            loadObserver->LoadEnded(path);
    }
    ObservedLoad(const ObservedLoad&) = delete;
    ObservedLoad& operator=(const ObservedLoad&) = delete;

private:
    const char* const path;
};

/// Characters of a group or item name, its terminator included. Longer names are cut where they are stored
/// and compared as if cut, so that a long name finds what it registered.
constexpr int kContentNameSize = 32;

/// One item of a group. Entries lie one after another in the group's block, so pointers to them are good only
/// until the next registration in that group.
struct GroupItemEntry {
    char name[kContentNameSize];
    int fileIndex;   // in the group's files
    int globalIndex; // in the manager's item table
    bool loaded;     // the slot holds the item
};

/// One registered file, or the placeholder of an item that was made in memory.
struct GroupFileItem {
    DataBlock path;    // with prefix and terminator; only a terminator for items made in memory
    int state = 0;     // 0 not loaded, 1 loaded, 2 failed: every request tries again
    int firstItem = 0; // local index
    int lastItem = 0;  // local index; firstItem - 1 for a file that provides nothing
};

/// A named set of items in order of registration.
class MediaManagerGroup {
public:
    /// @param groupName null reads as the empty name.
    explicit MediaManagerGroup(const char* groupName);
    ~MediaManagerGroup();
    MediaManagerGroup(const MediaManagerGroup&) = delete;
    MediaManagerGroup& operator=(const MediaManagerGroup&) = delete;

    /// Appends an unnamed, unloaded entry; its local index is the itemCount from before the call.
    /// @return good until the next registration in this group; null when the group is full.
    GroupItemEntry* AddEntry(int fileIndex, int globalIndex);

    /// Appends the record of a file in state 0 that provides no items yet.
    /// @return owned by the group; its place in files is files.Count() - 1.
    GroupFileItem* AddFile(const char* path);

    /// @return the local index of the first entry of that name, or -1.
    int IndexOf(const char* itemName) const;

    DataBlock entries;                    // itemCount entries, without gaps
    GroupItemEntry* entriesPtr = nullptr; // start of entries; null while there are none
    char name[kContentNameSize];
    int itemCount = 0;
    TNQ files; // of GroupFileItem*, owned

private:
    int priv_Find(const char* itemName, std::uint32_t hash) const;

    mutable HashIndex index; // of the first entries of their names
    mutable int indexed = 0; // entries from the start that the index has seen
};

/// Where an item stands outside the table.
struct ItemPlace {
    MediaManagerGroup* group = nullptr; // not owned; null until the item is registered
    int localIndex = -1;
};

/// One page of the item table.
class MediaManagerSubList {
public:
    static constexpr int kSlots = 256;

    MediaManagerSubList();

    DataBlock slots;         // kSlots item pointers, null until the item is loaded
    int** slotPtr = nullptr; // the first of them
    ItemPlace places[kSlots];
};

/// Base of the managers of file-backed content. Derived managers say how a file becomes items and what using
/// an item means. There is no virtual destructor: delete a manager only as what it is.
class MediaManager {
public:
    MediaManager();
    ~MediaManager();
    MediaManager(const MediaManager&) = delete;
    MediaManager& operator=(const MediaManager&) = delete;

    /// Registers in group the items that the file at path provides.
    /// @param first receives the local index of the first new item, @param count their number.
    virtual void QueryFile(const char* path, MediaManagerGroup* group, int* first, int* count);

    /// Loads a file: fills the slots of its items, marks their entries and sets the file's state to 1, or to
    /// 2 when it cannot be loaded.
    virtual void LoadFile(GroupFileItem* file, MediaManagerGroup* group);

    /// Uses a loaded item (binds, draws or plays it); null means: use nothing.
    virtual void priv_Use(int* item);

    /// QueryFile for files of exactly one item: registers it under the file's name without directory and
    /// extension, opening nothing. Either out-pointer may be null.
    virtual void QueryFileOneItem(const char* path, MediaManagerGroup* group, int* first, int* count);

    /// Text put before every file name given to AddContent, its separator included.
    void SetPathPrefix(const char* prefix);

    /// Registers a file in a group, which is made when it does not exist. The same file may be added
    /// repeatedly: each time gives new items.
    /// @param first receives the global index of the first new item, @param count the number of new items;
    /// either may be null.
    void AddContent(const char* file, const char* group, int* first, int* count);

    /// @param name case-sensitive; null and "" name the default group.
    /// @return owned by the manager; null when there is no such group.
    MediaManagerGroup* GetGroup(const char* name);
    /// @return the group made index-th, 0 being the default group; null outside the range.
    MediaManagerGroup* GetGroup(int index);

    /// @return the local index of the first entry of that name (case-sensitive), or -1.
    int GetGroupItemIndex(const MediaManagerGroup* group, const char* name);
    /// The same within a group given by name: a local index, or -1 also when the group does not exist.
    int GetIndex(const char* name, const char* group);

    /// The GetItem forms return the item, loading its file first where that has not worked yet, and null when
    /// there is no such item or it cannot be loaded. By global index an unknown item is met with silence; the
    /// others print which of group, item or index is wrong.
    int* GetItem(int globalIndex);
    int* GetItem(const char* name, const char* group);
    int* GetItem(int localIndex, const char* group);
    int* GetItem(int localIndex, MediaManagerGroup* group);

    /// @return the item if it is loaded already, else null.
    int* GetLoadedItem(int globalIndex);

    /// @return the item's slot, for the manager that fills it; null for an index that no page holds.
    int** GetItemPtr(int globalIndex);

    /// The Use forms load and use an item. Use(-1) uses nothing, which unbinds in managers with unbindOnNone.
    /// By global index an item that fails to load is used as nothing too; the other forms then leave things
    /// alone.
    void Use(int globalIndex);
    void Use(const char* name);
    void Use(const char* group, const char* name);
    void Use(const char* group, int localIndex);

    /// Loads an item without using it; does nothing for an index that names no item.
    void PreLoad(int globalIndex);

    /// Registers an item that has no file and counts as loaded.
    /// @param slot receives the address of the item's slot, which the caller fills.
    /// @return the item's global index; -1, with slot left alone, when the group is full.
    int CreateEmptyItem(const char* group, const char* name, int*** slot);

    TNQ subLists;              // of MediaManagerSubList*, owned; always itemCount / 256 + 1 pages
    TNQ groups;                // of MediaManagerGroup*, owned; entry 0 is the default group
    int itemCount = 0;         // of all groups; the next global index
    bool unbindOnNone = false; // Use(-1) calls priv_Use with null
    DataBlock pathPrefix;

protected:
    /// Adds pages until the table has a slot for globalIndex.
    void priv_CoverIndex(int globalIndex);

    /// Ends the loading of a one-item file: item becomes the content of its slot, null marks the file as
    /// failed.
    void priv_FinishLoad(GroupFileItem* file, MediaManagerGroup* group, int* item);

    /// Destroys every loaded item; called by the destructor of the manager that knows their type.
    template <typename Item>
    void priv_DestroyItems() {
        for (int i = 0; i < itemCount; i++) {
            int** slot = GetItemPtr(i);
            delete reinterpret_cast<Item*>(*slot);
            *slot = nullptr;
        }
    }

private:
    MediaManagerSubList* priv_Page(int globalIndex);
    MediaManagerGroup* priv_FindOrAddGroup(const char* name);
    MediaManagerGroup* priv_FindGroup(const char* name, std::uint32_t hash);
    void priv_NotePlaces(MediaManagerGroup* group, int firstLocal);

    HashIndex groupIndex;  // of all groups but the default one
    int indexedGroups = 1; // groups from the start that it has seen
};

/// Textures, one for each image file, loaded at first use. Using one binds it to the 2D texture target.
class TextureManager : public MediaManager {
public:
    TextureManager();
    ~TextureManager();

    void QueryFile(const char* path, MediaManagerGroup* group, int* first, int* count) override;
    /// A failure is reported by the image library alone, on standard error, with the file's name.
    void LoadFile(GroupFileItem* file, MediaManagerGroup* group) override;
    void priv_Use(int* item) override;
};

/// Shader programs, one for each meta file, built at first use. Using one makes it the current program.
class ShaderManager : public MediaManager {
public:
    ShaderManager();
    ~ShaderManager();

    void QueryFile(const char* path, MediaManagerGroup* group, int* first, int* count) override;
    void LoadFile(GroupFileItem* file, MediaManagerGroup* group) override;
    /// Null goes back to the fixed-function pipeline. Does nothing while shaders are disabled.
    void priv_Use(int* item) override;

    Shader* GetBoundShader();
    bool GetShadersEnabled();
    /// Changes the switch only: whatever program is current stays so.
    void SetShadersEnabled(bool enabled);

    Shader* boundShader = nullptr; // one of the items; null after an unbind
    bool shadersEnabled = true;
};

/// Meshes: the objects of OBJ files, loaded while they are registered, and meshes built in memory by merging
/// copies of others under two transform stacks. Using one draws it. The GL context must be current when the
/// manager is destroyed, since drawn meshes own buffer objects.
class GeometryManager : public MediaManager {
public:
    ~GeometryManager();

    /// Registers and loads every object of a mesh file with the extension "obj" (case-sensitive); other files
    /// provide no items.
    void QueryFile(const char* path, MediaManagerGroup* group, int* first, int* count) override;

    /// Makes one loaded item of each object in an OBJ file, named after it; a file without objects, or one
    /// that cannot be read (which is printed), makes one.
    /// @param fileIndex of the file's record in the group. The caller raises the manager's itemCount.
    void LoadObjFile(const char* path, MediaManagerGroup* group, int fileIndex, int* first, int* count);

    /// Nothing: meshes are loaded at registration.
    void LoadFile(GroupFileItem* file, MediaManagerGroup* group) override;
    void priv_Use(int* item) override;

    /// Make a new empty mesh, in the default group and without a name unless they are given.
    /// @return its global index.
    int NewGeom();
    int NewGeom(const char* name);
    int NewGeom(const char* group, const char* name);

    /// Appends a copy of mesh source to mesh target, positions transformed by the top of geomStack and
    /// texture coordinates by the top of texStack. Prints "ERR 1235" for a bad source, else "ERR 5123" for a
    /// bad target.
    void Place(int source, int target);
    /// The same with the source given by name.
    void Place(const char* group, const char* name, int target);

    /// The geometry stack; angles in radians. A push beyond 16 entries and a pop below the first are refused
    /// with a message.
    void Push();
    void Pop();
    void Reset();
    void Translate(float x, float y, float z);
    void Rotate(float x, float y, float z, float angle);
    void Scale(float x, float y, float z);

    /// The texture-coordinate stack, likewise.
    void TexPush();
    void TexPop();
    void TexReset();
    void TexTranslate(float x, float y);
    void TexRotate(float x, float y, float z, float angle);
    void TexScale(float x, float y);

    MatrixStack geomStack;
    MatrixStack texStack;

private:
    Geometry* priv_Mesh(int globalIndex);
};

/// Sounds, loaded when they are registered, and the channels that they are played on. Using a sound plays it
/// at full volume and normal pitch on a channel of the manager's choice; changes are made afterwards on that
/// channel, GetLastIndex(). Channel numbers outside the range are ignored.
class AudioManager : public MediaManager {
public:
    AudioManager();
    ~AudioManager();

    /// Stops everything and starts over with n fresh channels (none for a negative n).
    void SetMaxChannels(int n);

    /// @param now game time in seconds. delta is not used.
    void SetTime(float now, float delta);

    /// Registers a sound file and loads it at once, so that its first play does not stall a frame.
    void QueryFile(const char* path, MediaManagerGroup* group, int* first, int* count) override;
    /// A failure prints "Error: Audio File Not Loaded.".
    void LoadFile(GroupFileItem* file, MediaManagerGroup* group) override;

    /// Reads the file of a loaded sound again; channels that play it start over with what it holds now.
    /// @return false, with the sound unchanged, when the file cannot be used; true also for a sound that is
    ///         not loaded
    bool ReloadFile(GroupFileItem* file, MediaManagerGroup* group);

    /// Plays a sound. A channel counts as free when the sound started last on it has run its length and it is
    /// not looping. The sound's own last channel comes first if it is free, then free channels that hold this
    /// sound, then channels never used, then any free one; with none left the last one visited is taken over.
    void priv_Use(int* item) override;

    /// From here to ReleaseStarts only the first play on a channel starts at once; later ones choose their
    /// channels, and at the end each channel starts the last sound that was played on it. For a frame's
    /// plays: sounds that others cut off at once cost nothing.
    void HoldStarts();
    void ReleaseStarts();

    /// @return the channel of the most recent play, -1 before the first.
    int GetLastIndex();

    /// @param volume 0 silent to 1 full; negative reads as 0. @param pitch 1 is unchanged, must be above 0.
    /// @param x, y, z position. A value that is not a usable number leaves its property alone. A looping
    /// channel is reserved until it is stopped or set to loop off.
    void SetAudProps(int channel, float volume, float pitch, bool loop, float x, float y, float z);

    /// Stops a channel. It is free for other plays as soon as the time advances.
    void StopAudio(int channel);

    /// Makes a sound without samples. Note the order: the name comes first.
    /// @return its global index.
    int NewAudio(const char* name, const char* group);

    /// Appends the samples of a sound to out, channels interleaved, scaled so that 16383 reads as 1.0. Does
    /// nothing for an index that names no sound.
    void GetAudioData(int globalIndex, FloatDataBlock* out);

    /// Replaces the samples of a sound by the means of each step consecutive values (a rest that fills no
    /// step is dropped). 1.0 becomes 16383; values outside -2 to 2 saturate.
    /// @param step below 1 reads as 1. @param channelCount 1, 2, 4, 6, 7 or 8. @param sampleRate in Hz. Data
    /// that cannot make a sound is refused with a message.
    void SetAudioData(int globalIndex, float* values, int count, int channelCount, int sampleRate, int step);

    LazyArray<SoundSlot> channels; // channelCount of them, owned; opens the audio device when first looked at
    int channelCount = 0;
    float curTime = 0.0f;
    int lastIndex = -1;

private:
    bool priv_IsFree(const SoundSlot& slot) const;
    int priv_ChooseChannel(const SoundBufferItem& item);
    SoundBufferItem* priv_Sound(int globalIndex);
    void priv_StartHeld();

    float busyUntil;          // up to this time no channel is free and none is unused
    bool holdsStarts = false; // between HoldStarts and ReleaseStarts
    bool startsHeld = false;  // a channel has a sound to start
    unsigned holds = 0;       // calls of HoldStarts
};

/// A fixed row of music players, each streaming one file. Player numbers outside the range are ignored.
class MusicManager {
public:
    MusicManager();
    ~MusicManager();
    MusicManager(const MusicManager&) = delete;
    MusicManager& operator=(const MusicManager&) = delete;

    /// Text put before every music file name, its separator included.
    void SetPathPrefix(const char* prefix);

    /// Stops everything and starts over with n fresh players (none for a negative n).
    void SetMaxChannels(int n);

    /// Opens a file for a player. A failure prints "Error: Music failed to load" and leaves the player
    /// silent.
    void LoadFile(int number, const char* file);

    /// Opens the player's file again; what plays goes on from its beginning.
    /// @return false when the file cannot be played: the player keeps what it has opened
    bool Reload(int number);

    /// @return path of the file last asked for; "" for none
    std::string FileOf(int number) const;

    /// Starts the player, or goes on where it was paused.
    void Play(int number);

    /// Units as in AudioManager::SetAudProps.
    void SetMusicProps(int number, float volume, float pitch, bool loop, float x, float y, float z);

    /// Stops the player; the next Play starts from the beginning.
    void Stop(int number);

    DataBlock pathPrefix;
    int musicCount = 0;
    LazyArray<sf::Music> musics; // musicCount of them, owned; opens the audio device when first looked at

private:
    sf::Music* priv_Player(int number);

    std::map<int, std::string> files; // path of the file last asked for, by player
};

/// One cached text and the layout that it was built with, as in GeomTextParams.
struct TextObj {
    DataBlock text; // without terminator
    int align = 1;
    float spacing = 0.0f;
    float lineSpacing = 0.0f;
    Geometry mesh;
    int id = -1;            // what AddText returned
    float lastDrawn = 0.0f; // game time in seconds; 0 before the first draw
    std::uint32_t hash = 0; // of string and layout; equal for what counts as the same text
};

/// Cache of text meshes: drawing the same text every frame builds it once, and texts that are no longer drawn
/// go away. Drawing draws the mesh alone: font texture, colour and transform are the caller's. The GL context
/// must be current wherever a drawn text may be dropped.
class TextManager {
public:
    TextManager() = default;
    ~TextManager();
    TextManager(const TextManager&) = delete;
    TextManager& operator=(const TextManager&) = delete;

    /// Builds a text without drawing it.
    /// @param params null reads as align 1, spacing 0, lineSpacing 0.
    /// @return its id; ids are never used again.
    int AddText(const char* text, GeomTextParams* params);

    /// Draws a text by its id; does nothing once it has been dropped.
    void Draw(int id);

    /// Draws a text, building it when no cached one has this string and exactly these parameters.
    void CreateDrawText(const char* text, GeomTextParams* params);

    /// The text that CreateDrawText would draw, built when it is not cached; it counts as drawn now.
    /// @return owned by the manager, good until the next TimeStep.
    TextObj* UseText(const char* text, GeomTextParams* params);

    /// Takes the game time and, on the first call at or after each whole second, drops the texts that were
    /// last drawn more than keepTime ago.
    /// @param delta seconds since the time given before.
    void TimeStep(float now, float delta);

    TNQ texts; // of TextObj*, owned, oldest first
    FontProps font;
    int lastId = -1;
    float keepTime = 5.0f; // seconds
    float curTime = 0.0f;  // game time in seconds

private:
    TextObj* priv_Find(const TextKey& key) const;
    TextObj* priv_Add(const TextKey& key, GeomTextParams* params);
    void priv_Draw(TextObj* text);
    void priv_DropOldTexts();
    void priv_Index(int place);

    HashIndex index; // of the oldest texts of their string and layout
};

/// Saved data, one file per key. The path is exactly the key, so games that use the same key share its file.
class SaveManager {
public:
    void SetGame(const char* name);

    /// Writes data to the key's file; does nothing where that file cannot be made.
    void SaveData(const char* key, DataBlock* data);

    /// Reads the key's file into data, which stays as it is when there is none.
    void LoadData(const char* key, DataBlock* data);

    DataBlock gameName; // given by the last SetGame
};
