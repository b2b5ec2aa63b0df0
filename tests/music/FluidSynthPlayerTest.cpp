#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "extras/midi/FluidSynthPlayer.h"
#include "platform/EpollLoop.h"
#include "support/TempDir.h"

TEST(FluidSynthPlayer, RendersAPieceThroughTheFileDriverAndTellsItsEnd) {
    if (FindSoundFont().empty()) {
        GTEST_SKIP() << "no General MIDI sound font installed";
    }
    // Half a second of middle C on the piano: one track, 96 ticks to the quarter note.
    const unsigned char middleC[] = {'M',  'T',  'h',  'd',  0,    0,    0,    6,   0, 0, 0,
                                     1,    0,    0x60, 'M',  'T',  'r',  'k',  0,   0, 0, 15,  //
                                     0x00, 0xC0, 0x00, 0x00, 0x90, 0x3C, 0x64,                 //
                                     0x60, 0x80, 0x3C, 0x40, 0x00, 0xFF, 0x2F, 0x00};
    TempDir dir;
    WriteFile(dir / "c.mid", std::string(std::begin(middleC), std::end(middleC)));
    WriteFile(dir / "not.mid", "not a piece");
    EpollLoop loop;
    {
        FluidSynthPlayer player(loop, {"file", dir / "out.wav"});
        EXPECT_FALSE(player.Open(dir / "not.mid"));
        ASSERT_TRUE(player.Open(dir / "c.mid"));
        ASSERT_TRUE(player.TestOutput());
        bool bEnded = false;
        ASSERT_TRUE(player.Play([&bEnded] { bEnded = true; }));
        // Rendered at the music's own pace; ten seconds at most.
        for (int round = 0; round < 200 && !bEnded; ++round) {
            loop.RunOnce(50);
        }
        EXPECT_TRUE(bEnded);
    }
    // Silence is all zeros: some 16-bit sample of the data chunk must stand out.
    const std::string wav = ReadFile(dir / "out.wav");
    ASSERT_EQ(wav.rfind("RIFF", 0), 0u);
    int loudest = 0;
    for (std::size_t i = wav.find("data") + 8; i + 1 < wav.size(); i += 2) {
        std::int16_t sample;
        std::memcpy(&sample, wav.data() + i, 2);
        loudest = std::max(loudest, std::abs(static_cast<int>(sample)));
    }
    EXPECT_GT(loudest, 100);
}
