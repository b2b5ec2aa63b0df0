#pragma once

#include <memory>
#include <string>

#include "extras/Music.h"
#include "platform/EventLoop.h"

// The General MIDI sound font that Debian's packages put in place, or empty when there is none.
std::string FindSoundFont();

// Plays MIDI files with libfluidsynth through the sound card, or into a file.
class FluidSynthPlayer : public MidiPlayer {
  public:
    // Where the sound goes: the first sound server or card that answers when driver is empty;
    // with "file", a WAV file of that name.
    struct Output {
        std::string driver;
        std::string fileName;
    };

    explicit FluidSynthPlayer(EventLoop& loop, Output output = {});
    ~FluidSynthPlayer() override;

    // Loads the sound font and the piece.
    bool Open(const std::string& path) override;
    // Starts the audio driver: where there is no sound card this fails, quietly.
    bool TestOutput() override;
    bool Play(std::function<void()> onEnd) override;
    void Close() override;

  private:
    struct Session;
    void StopWatching();

    EventLoop& m_loop;
    Output m_output;
    std::unique_ptr<Session> m_pSession;
    EventLoop::TimerId m_endTimer = 0;
};
