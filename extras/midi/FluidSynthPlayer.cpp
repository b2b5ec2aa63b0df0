#include "extras/midi/FluidSynthPlayer.h"

#include <alsa/asoundlib.h>
#include <fluidsynth.h>
#include <unistd.h>

#include <iterator>
#include <vector>

namespace {

// How often the end of a piece is looked for; the player itself runs on its own thread.
constexpr int kEndPollMs = 250;

// The sound servers and the card, in the order a desktop is likeliest to have them; PipeWire
// answers as PulseAudio.
constexpr const char* kAudioDrivers[] = {"pulseaudio", "alsa", "sdl2"};

constexpr const char* kSoundFonts[] = {
    "/usr/share/sounds/sf2/default-GM.sf2",
    "/usr/share/sounds/sf3/default-GM.sf3",
    "/usr/share/sounds/sf2/TimGM6mb.sf2",
    "/usr/share/sounds/sf2/FluidR3_GM.sf2",
};

void IgnoreAlsaError(const char*, int, const char*, int, const char*, ...) {}

// A failure of the music is no one's concern but its own: fluidsynth, and ALSA beneath it on a
// host without a card, keep their messages.
void SilenceFluidSynth() {
    for (int level = FLUID_PANIC; level < LAST_LOG_LEVEL; ++level) {
        fluid_set_log_function(level, nullptr, nullptr);
    }
    snd_lib_error_set_handler(IgnoreAlsaError);
}

}  // namespace

std::string FindSoundFont() {
    for (const char* path : kSoundFonts) {
        if (access(path, R_OK) == 0) {
            return path;
        }
    }
    return {};
}

struct FluidSynthPlayer::Session {
    fluid_settings_t* settings = nullptr;
    fluid_synth_t* synth = nullptr;
    fluid_player_t* player = nullptr;
    fluid_audio_driver_t* driver = nullptr;

    ~Session() {
        if (driver != nullptr) {
            delete_fluid_audio_driver(driver);
        }
        if (player != nullptr) {
            fluid_player_stop(player);
            delete_fluid_player(player);
        }
        if (synth != nullptr) {
            delete_fluid_synth(synth);
        }
        if (settings != nullptr) {
            delete_fluid_settings(settings);
        }
    }
};

FluidSynthPlayer::FluidSynthPlayer(EventLoop& loop, Output output)
    : m_loop(loop), m_output(std::move(output)) {
    SilenceFluidSynth();
}

FluidSynthPlayer::~FluidSynthPlayer() {
    Close();
}

bool FluidSynthPlayer::Open(const std::string& path) {
    Close();
    const std::string soundFont = FindSoundFont();
    if (soundFont.empty() || !fluid_is_midifile(path.c_str())) {
        return false;
    }
    auto session = std::make_unique<Session>();
    session->settings = new_fluid_settings();
    if (session->settings == nullptr) {
        return false;
    }
    if (!m_output.fileName.empty()) {
        fluid_settings_setstr(session->settings, "audio.file.name", m_output.fileName.c_str());
        fluid_settings_setstr(session->settings, "audio.file.type", "wav");
    }
    session->synth = new_fluid_synth(session->settings);
    if (session->synth == nullptr ||
        fluid_synth_sfload(session->synth, soundFont.c_str(), 1) == FLUID_FAILED) {
        return false;
    }
    session->player = new_fluid_player(session->synth);
    if (session->player == nullptr || fluid_player_add(session->player, path.c_str()) != FLUID_OK) {
        return false;
    }
    m_pSession = std::move(session);
    return true;
}

bool FluidSynthPlayer::TestOutput() {
    if (!m_pSession) {
        return false;
    }
    std::vector<std::string> drivers(std::begin(kAudioDrivers), std::end(kAudioDrivers));
    if (!m_output.driver.empty()) {
        drivers = {m_output.driver};
    }
    for (const std::string& driver : drivers) {
        if (m_pSession->driver != nullptr) {
            break;
        }
        fluid_settings_setstr(m_pSession->settings, "audio.driver", driver.c_str());
        m_pSession->driver = new_fluid_audio_driver(m_pSession->settings, m_pSession->synth);
    }
    return m_pSession->driver != nullptr;
}

bool FluidSynthPlayer::Play(std::function<void()> onEnd) {
    if (!m_pSession || m_pSession->driver == nullptr ||
        fluid_player_play(m_pSession->player) != FLUID_OK) {
        return false;
    }
    StopWatching();
    m_endTimer = m_loop.StartTimer(kEndPollMs, true, [this, onEnd = std::move(onEnd)] {
        if (m_pSession && fluid_player_get_status(m_pSession->player) != FLUID_PLAYER_DONE) {
            return;
        }
        StopWatching();
        onEnd();
    });
    return true;
}

void FluidSynthPlayer::Close() {
    StopWatching();
    m_pSession.reset();
}

void FluidSynthPlayer::StopWatching() {
    if (m_endTimer != 0) {
        m_loop.StopTimer(m_endTimer);
        m_endTimer = 0;
    }
}
