#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

class Operator;

// What plays a MIDI file: open, prove there is an output, play with an end notice, close.
class MidiPlayer {
  public:
    virtual ~MidiPlayer() = default;
    virtual bool Open(const std::string& path) = 0;
    virtual bool TestOutput() = 0;
    // onEnd runs on the main loop once playing ends for any reason.
    virtual bool Play(std::function<void()> onEnd) = 0;
    virtual void Close() = 0;
};

// Background music: F12 turns it over; each piece is drawn from the *.mid files beside the
// program, and the next follows when one ends.
class CMusic {
  public:
    CMusic(MidiPlayer& player, Operator& op, std::function<std::string()> appPath);

    void OnMusic();
    void OnMciNotify();
    bool IsOn() const { return m_bMusic != 0; }

    // The chosen piece's full path, or empty after telling the operator there is none.
    std::string PickMidiFile();
    // The draws of the choice: one number per name looked at.
    void SetRandomSource(std::function<int()> draw) { m_rand = std::move(draw); }

  private:
    void PlayMusic();

    MidiPlayer& m_player;
    Operator& m_operator;
    std::function<std::string()> m_appPath;
    std::function<int()> m_rand;
    std::uint8_t m_bMusic = 0;
};
