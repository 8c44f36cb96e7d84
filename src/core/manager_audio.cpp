// The managers of what is heard: sound effects on channels, and streamed music. Channels and players are
// owned as arrays; channels go before the sounds whose buffers they play.
#include "manager_audio.h"

#include "manager.h"
#include "soundfile.h"
#include "strfuncs.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <new>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace {

constexpr int kDefaultChannels = 64;
constexpr int kDefaultPlayers = 8;

// A sample of this value is 1.0 in the engine's floats. It leaves headroom: full scale is about 2.0.
constexpr float kSampleScale = 16383.0f;

// More than the best case of the compressed formats, a long silence.
constexpr std::uint64_t kMostSamplesPerByte = 16384;

// What a sound may have, since all of it is held in memory: 256 MB, 25 minutes of stereo. Music may be
// longer.
constexpr std::uint64_t kMostSoundSamples = 1u << 27;

// A second of music is in memory several times. No format in use has more samples than this.
constexpr unsigned kMostSampleRate = 768000; // Hz

// As a time until which all channels are busy: it may be that some are free.
constexpr float kUnknown = -INFINITY;

constexpr char kNoDevice[] = "Failed to open the audio device";

// Of the process. Channels and players are made when they are first needed: opening the device takes time and
// memory that a silent script does not pay.
enum class Device { Untried, Tried, Present, Missing };
Device device = Device::Untried;

// Without an audio device the library complains about every single call, a thousand lines for the channels
// alone. While one of these lives, such reports are held back; what else the library has to say is passed on,
// and the missing device is reported once. One inside another leaves the work to the outer one.
class ReportFilter {
public:
    ReportFilter() : catching(device != Device::Present && !active), original(nullptr) {
        if (!catching)
            return;
        original = sf::err().rdbuf(caught.emplace().rdbuf());
        active = true;
    }

    ~ReportFilter() {
        if (!catching)
            return;
        active = false;
        sf::err().rdbuf(original);
        const std::string text = caught->str();
        const bool noDevice = contains(text, kNoDevice);
        if (noDevice && device != Device::Missing) {
            device = Device::Missing;
            sf::err() << kNoDevice << std::endl;
        } else if (device == Device::Tried) {
            device = Device::Present;
        }
        const bool consequence = noDevice || contains(text, "OpenAL");
        if (device == Device::Present || !consequence)
            sf::err() << text << std::flush;
    }

    ReportFilter(const ReportFilter&) = delete;
    ReportFilter& operator=(const ReportFilter&) = delete;

private:
    static bool contains(const std::string& text, const char* part) {
        return text.find(part) != std::string::npos;
    }

    static bool active; // one of them is catching
    const bool catching;
    std::optional<std::ostringstream>
        caught;               // only while catching: making one costs more than playing a sound
    std::streambuf* original; // of the library's stream; may be null
};

bool ReportFilter::active = false;

// Makes channels or players, the first of which open the device.
template <class Source>
Source* makeSources(int n) {
    const ReportFilter filter;
    if (device == Device::Untried)
        device = Device::Tried;
    return new Source[n];
}

SoundBufferItem* asSound(int* item) {
    return reinterpret_cast<SoundBufferItem*>(item);
}

int* asItem(SoundBufferItem* sound) {
    return reinterpret_cast<int*>(sound);
}

void applyProps(sf::SoundSource& source, float volume, float pitch, float x, float y, float z) {
    if (std::isfinite(volume))
        source.setVolume(std::max(volume, 0.0f) * 100.0f);
    if (std::isfinite(pitch) && pitch > 0.0f)
        source.setPitch(pitch);
    if (std::isfinite(x) && std::isfinite(y) && std::isfinite(z))
        source.setPosition(x, y, z);
}

// From its beginning, at full volume and normal pitch. Each call into the library waits for its lock, so that
// what is set already is not set again.
void start(SoundSlot& slot, const SoundBufferItem& sound) {
    const ReportFilter filter;
    if (slot.getBuffer() != &sound)
        slot.setBuffer(sound);
    slot.play();
    if (slot.plain)
        return;
    applyProps(slot, 1.0f, 1.0f, 0.0f, 0.0f, 0.0f);
    slot.setLoop(false);
    slot.plain = true;
}

void startHeld(SoundSlot& slot) {
    if (slot.toStart)
        start(slot, *slot.toStart);
    slot.toStart = nullptr;
}

// The channel counts are those that the audio library has a sample format for.
bool isPlayable(std::uint64_t samples, unsigned channelCount, unsigned sampleRate) {
    const bool layoutKnown = channelCount == 1 || channelCount == 2 || channelCount == 4 ||
                             (channelCount >= 6 && channelCount <= 8);
    return samples > 0 && layoutKnown && sampleRate > 0;
}

// The library hangs on directories, on unknown channel counts and on headers that announce far more samples
// than any compression can hold, so files are looked at before it may have them. It names files that it
// cannot open. A sound is to be held in memory whole, music is not.
bool isSoundFile(const std::string& path, bool whole) {
    std::error_code error;
    sf::InputSoundFile file;
    const bool regular = std::filesystem::is_regular_file(path, error);
    const bool trusted = regular && MayOpenSoundFile(path, whole);
    if (trusted && !file.openFromFile(path))
        return false;
    if (whole && file.getSampleCount() > kMostSoundSamples) {
        printf("Error: sound %s is too long, play it as music\n", path.c_str());
        return false;
    }
    const std::uint64_t mostSamples = std::filesystem::file_size(path, error) * kMostSamplesPerByte;
    if (trusted && !error && file.getSampleCount() <= mostSamples &&
        file.getSampleRate() <= kMostSampleRate &&
        isPlayable(file.getSampleCount(), file.getChannelCount(), file.getSampleRate()))
        return true;
    sf::err() << "Not a playable sound file: " << path << std::endl;
    return false;
}

// Those that are alive. Their players have threads that call the audio library: a script's os.exit destroys
// no manager, but the library, and the threads must end before it. The list is not destroyed: static managers
// would outlive it.
std::vector<MusicManager*>& musicManagers() {
    static auto* const alive = new std::vector<MusicManager*>;
    return *alive;
}

void endMusic() {
    for (MusicManager* manager : musicManagers())
        manager->SetMaxChannels(0);
}

std::int16_t toSample(float value) {
    const float scaled = value * kSampleScale;
    if (std::isnan(scaled))
        return 0;
    return static_cast<std::int16_t>(std::min(std::max(scaled, -32768.0f), 32767.0f));
}

std::int16_t meanSample(const float* values, int count) {
    float sum = 0.0f;
    for (int i = 0; i < count; i++)
        sum += values[i];
    return toSample(sum / static_cast<float>(count));
}

} // namespace

// ---- AudioManager: channels

AudioManager::AudioManager() : channels(makeSources<SoundSlot>) {
    SetMaxChannels(kDefaultChannels);
}

AudioManager::~AudioManager() {
    const ReportFilter filter;
    SetMaxChannels(0);
    priv_DestroyItems<SoundBufferItem>();
}

void AudioManager::SetMaxChannels(int n) {
    const ReportFilter filter;
    channelCount = std::max(n, 0);
    channels.Reset(channelCount);
    busyUntil = kUnknown;
}

void AudioManager::SetTime(float now, float) {
    curTime = now;
}

int AudioManager::GetLastIndex() {
    return lastIndex;
}

void AudioManager::SetAudProps(int channel, float volume, float pitch, bool loop, float x, float y, float z) {
    if (channel < 0 || channel >= channelCount)
        return;
    const ReportFilter filter;
    SoundSlot& slot = channels[channel];
    startHeld(slot);
    applyProps(slot, volume, pitch, x, y, z);
    slot.setLoop(loop);
    slot.plain = false;
    slot.looping = loop;
    busyUntil = kUnknown;
}

void AudioManager::StopAudio(int channel) {
    if (channel < 0 || channel >= channelCount)
        return;
    const ReportFilter filter;
    SoundSlot& slot = channels[channel];
    startHeld(slot);
    slot.stop();
    slot.endTime = curTime;
    slot.looping = false;
    busyUntil = kUnknown;
}

// ---- AudioManager: items

void AudioManager::QueryFile(const char* path, MediaManagerGroup* group, int* first, int* count) {
    QueryFileOneItem(path, group, first, count);
    GetItem(*first, group);
}

void AudioManager::LoadFile(GroupFileItem* file, MediaManagerGroup* group) {
    const ReportFilter filter;
    channels.Make(); // they keep the device open from sound to sound
    const std::string path = nativePath(file->path.CStr());
    auto sound = std::make_unique<SoundBufferItem>();
    if (!isSoundFile(path, true) || !sound->loadFromFile(path)) {
        printf("Error: Audio File Not Loaded.\n");
        priv_FinishLoad(file, group, nullptr);
        return;
    }
    sound->itemIndex = group->entriesPtr[file->firstItem].globalIndex;
    sound->duration = sound->getDuration().asSeconds();
    priv_FinishLoad(file, group, asItem(sound.release()));
}

bool AudioManager::ReloadFile(GroupFileItem* file, MediaManagerGroup* group) {
    const int globalIndex = group->entriesPtr[file->firstItem].globalIndex;
    SoundBufferItem* sound = asSound(GetLoadedItem(globalIndex));
    const std::string path = nativePath(file->path.CStr());
    const ReportFilter filter;
    if (!sound)
        return true;
    std::vector<SoundSlot*> playing;
    for (int i = 0; i < channelCount; i++)
        if (channels[i].ownerIndex == globalIndex && channels[i].getStatus() == sf::Sound::Playing)
            playing.push_back(&channels[i]);
    if (!isSoundFile(path, true) || !sound->loadFromFile(path))
        return false;
    sound->duration = sound->getDuration().asSeconds();
    for (SoundSlot* slot : playing) {
        slot->play();
        slot->endTime = curTime + sound->duration;
    }
    busyUntil = kUnknown;
    return true;
}

int AudioManager::NewAudio(const char* name, const char* group) {
    const ReportFilter filter;
    channels.Make();
    int** slot = nullptr;
    const int globalIndex = CreateEmptyItem(group, name, &slot);
    if (!slot)
        return globalIndex;
    auto* sound = new SoundBufferItem;
    sound->itemIndex = globalIndex;
    *slot = asItem(sound);
    return globalIndex;
}

void AudioManager::GetAudioData(int globalIndex, FloatDataBlock* out) {
    SoundBufferItem* sound = priv_Sound(globalIndex);
    if (!sound || !out)
        return;
    const sf::Int16* samples = sound->getSamples();
    for (sf::Uint64 i = 0; i < sound->getSampleCount(); i++)
        out->AddVal(static_cast<float>(samples[i]) / kSampleScale);
}

void AudioManager::SetAudioData(int globalIndex, float* values, int count, int sampleChannels, int sampleRate,
                                int step) {
    SoundBufferItem* sound = priv_Sound(globalIndex);
    if (!sound || !values)
        return;
    const int perSample = std::max(step, 1);
    const int sampleCount = std::max(count, 0) / perSample;
    if (sampleRate < 1 || sampleChannels < 1 ||
        !isPlayable(sampleCount, static_cast<unsigned>(sampleChannels), static_cast<unsigned>(sampleRate))) {
        printf("Error: audio data not set (%i samples, %i channels, rate %i).\n", sampleCount, sampleChannels,
               sampleRate);
        return;
    }
    std::vector<std::int16_t> samples(static_cast<std::size_t>(sampleCount));
    for (int i = 0; i < sampleCount; i++)
        samples[i] = meanSample(values + i * perSample, perSample);
    priv_StartHeld();
    const ReportFilter filter;
    // Channels that play this buffer are stopped and given the new samples by the audio library.
    sound->loadFromSamples(samples.data(), samples.size(), static_cast<unsigned>(sampleChannels),
                           static_cast<unsigned>(sampleRate));
    sound->duration = sound->getDuration().asSeconds();
}

SoundBufferItem* AudioManager::priv_Sound(int globalIndex) {
    return asSound(GetItem(globalIndex));
}

// ---- AudioManager: playing

void AudioManager::priv_Use(int* item) {
    if (!item || channelCount == 0)
        return;
    SoundBufferItem& sound = *asSound(item);
    lastIndex = priv_ChooseChannel(sound);
    sound.lastChannel = lastIndex;
    SoundSlot& slot = channels[lastIndex];
    // A looping channel that is taken over loops no longer.
    if (slot.ownerIndex >= 0)
        slot.looping = false;
    slot.ownerIndex = sound.itemIndex;
    slot.endTime = curTime + sound.duration;
    busyUntil = std::min(busyUntil, slot.endTime);
    if (device == Device::Missing)
        return;
    slot.toStart = &sound;
    if (holdsStarts && slot.startedIn == holds) {
        startsHeld = true;
        return;
    }
    startHeld(slot);
    slot.startedIn = holds;
}

void AudioManager::HoldStarts() {
    holdsStarts = true;
    ++holds;
}

void AudioManager::ReleaseStarts() {
    holdsStarts = false;
    priv_StartHeld();
}

void AudioManager::priv_StartHeld() {
    if (!startsHeld)
        return;
    std::for_each(&channels[0], &channels[0] + channelCount, startHeld);
    startsHeld = false;
}

bool AudioManager::priv_IsFree(const SoundSlot& slot) const {
    return slot.endTime < curTime && !slot.looping;
}

int AudioManager::priv_ChooseChannel(const SoundBufferItem& sound) {
    const SoundSlot* const slots = channels;
    const int last = sound.lastChannel;
    // The last channel may be gone: the number of channels can shrink.
    if (last >= 0 && last < channelCount && slots[last].ownerIndex == sound.itemIndex &&
        priv_IsFree(slots[last]))
        return last;
    const int start = (last + 1) % channelCount;
    const int taken = (start + channelCount - 1) % channelCount;
    if (curTime <= busyUntil)
        return taken;
    int own = -1;
    int unused = -1;
    int free = -1;
    float firstEnd = INFINITY;
    for (int i = 0; i < channelCount; i++) {
        const int channel = start + i < channelCount ? start + i : start + i - channelCount;
        const SoundSlot& slot = slots[channel];
        if (slot.ownerIndex < 0) {
            unused = unused < 0 ? channel : unused;
        } else if (priv_IsFree(slot)) {
            free = free < 0 ? channel : free;
            // Counted downwards from the start, the latest found comes first, but for the start itself.
            if (slot.ownerIndex == sound.itemIndex && own != start)
                own = channel;
        } else if (!slot.looping) {
            firstEnd = std::min(firstEnd, slot.endTime);
        }
    }
    if (own >= 0 || unused >= 0)
        return own >= 0 ? own : unused;
    if (free >= 0)
        return free;
    busyUntil = firstEnd;
    return taken;
}

// ---- MusicManager

MusicManager::MusicManager() : musics(makeSources<sf::Music>) {
    SetMaxChannels(kDefaultPlayers);
    musicManagers().push_back(this);
    static const bool endsAtExit = std::atexit(endMusic) == 0;
    static_cast<void>(endsAtExit);
}

MusicManager::~MusicManager() {
    std::vector<MusicManager*>& alive = musicManagers();
    alive.erase(std::find(alive.begin(), alive.end(), this));
    SetMaxChannels(0);
}

void MusicManager::SetPathPrefix(const char* prefix) {
    pathPrefix.Assign(prefix ? prefix : "");
}

void MusicManager::SetMaxChannels(int n) {
    const ReportFilter filter;
    musicCount = std::max(n, 0);
    files.clear();
    musics.Reset(musicCount);
}

void MusicManager::LoadFile(int number, const char* file) {
    sf::Music* player = priv_Player(number);
    if (!player)
        return;
    const ReportFilter filter;
    DataBlock path;
    path.Append(&pathPrefix);
    path.Append(file ? file : "");
    const std::string native = nativePath(path.CStr());
    files[number] = native;
    const ObservedLoad observed(native.c_str());
    if (isSoundFile(native, false) && player->openFromFile(native))
        return;
    printf("Error: Music failed to load\n");
    // A player whose last file went wrong would play on without end; a new one has nothing to play.
    player->~Music();
    new (player) sf::Music;
}

bool MusicManager::Reload(int number) {
    sf::Music* player = priv_Player(number);
    const ReportFilter filter;
    const std::string path = FileOf(number);
    if (!player || !isSoundFile(path, false))
        return false;
    const bool playing = player->getStatus() == sf::Music::Playing;
    if (!player->openFromFile(path))
        return false;
    if (playing)
        player->play();
    return true;
}

std::string MusicManager::FileOf(int number) const {
    const auto file = files.find(number);
    return file == files.end() ? "" : file->second;
}

void MusicManager::Play(int number) {
    sf::Music* player = priv_Player(number);
    // A stream nobody hears would only keep a thread busy.
    if (player && device != Device::Missing)
        player->play();
}

void MusicManager::SetMusicProps(int number, float volume, float pitch, bool loop, float x, float y,
                                 float z) {
    sf::Music* player = priv_Player(number);
    if (!player)
        return;
    const ReportFilter filter;
    applyProps(*player, volume, pitch, x, y, z);
    player->setLoop(loop);
}

void MusicManager::Stop(int number) {
    sf::Music* player = priv_Player(number);
    if (!player)
        return;
    const ReportFilter filter;
    player->stop();
}

sf::Music* MusicManager::priv_Player(int number) {
    return number >= 0 && number < musicCount ? &musics[number] : nullptr;
}
