// Keeps what lies below the audio library from talking over the author's messages.
#pragma once

/// Where there is no sound card, the sound system writes some forty lines to standard error; the engine's own
/// line about the missing device is enough. Call before any sound. An ALSOFT_LOGLEVEL other than 0 in the
/// environment brings the lines back.
void QuietSound();
