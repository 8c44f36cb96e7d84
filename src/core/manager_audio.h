// The sound types behind AudioManager: what a sound item and a channel are. Only the audio manager and its
// tests include this file, so that the rest of the engine never sees the audio library.
#pragma once

#include <SFML/Audio.hpp>

/// The content item of the audio manager: a sound's samples, 16 bits, channels interleaved.
class SoundBufferItem : public sf::SoundBuffer {
public:
    int lastChannel = -1;  // where it was started last; -1 before the first play
    int itemIndex = -1;    // its global index in the audio manager
    float duration = 0.0f; // seconds
};

/// One channel. It is busy until endTime has passed and reserved while it loops.
class SoundSlot : public sf::Sound {
public:
    int ownerIndex = -1;   // global index of the sound whose buffer it holds; -1 before its first use
    float endTime = -1.0f; // game time in seconds at which the sound started here has run its length
    bool looping = false;  // set to loop by SetAudProps
    const SoundBufferItem* toStart = nullptr; // chosen while starts are held; null: as it is
    unsigned startedIn = 0;                   // hold in which a play started here at once, 0 for none
    bool plain = true;                        // volume, pitch, position and loop are those of a new sound
};
