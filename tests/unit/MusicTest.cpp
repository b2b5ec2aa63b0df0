#include <gtest/gtest.h>

#include <filesystem>

#include "extras/Music.h"
#include "support/TempDir.h"
#include "support/TestDoubles.h"

namespace {

using Calls = std::vector<std::string>;

// Notes each step asked of it; the output test fails when told to.
class FakePlayer : public MidiPlayer {
  public:
    bool Open(const std::string& path) override {
        return calls.push_back("open " + path.substr(path.rfind('/') + 1)), true;
    }
    bool TestOutput() override { return calls.push_back("test"), bOutput; }
    bool Play(std::function<void()> end) override {
        return onEnd = std::move(end), calls.push_back("play"), true;
    }
    void Close() override { calls.push_back("close"); }

    Calls calls;
    std::function<void()> onEnd;
    bool bOutput = true;
};

// The program in a directory of its own with the pieces named, and the draws the test gives.
struct MusicRig {
    explicit MusicRig(const Calls& pieces) {
        for (const std::string& name : pieces) {
            WriteFile(dir / name, "MThd");
        }
        WriteFile(dir / "notes.txt", "");
        music.SetRandomSource([this] {
            const int draw = used < draws.size() ? draws[used] : 0;
            return ++used, draw;
        });
    }

    TempDir dir;
    FakePlayer player;
    TestOperator op;
    CMusic music{player, op, [this] { return dir / "quaylon"; }};
    std::vector<int> draws;
    std::size_t used = 0;
};

}  // namespace

TEST(Music, ChoiceWalksTheListedPiecesAndF12PlaysPieceAfterPieceUntilTurnedOff) {
    MusicRig three({"a.mid", "b.mid", "c.mid"});
    Calls listed;  // in the order in which the directory lists them
    for (const auto& entry : std::filesystem::directory_iterator(three.dir.Path())) {
        if (entry.path().extension() == ".mid") {
            listed.push_back(entry.path().filename());
        }
    }
    // The draws, all of which the walk takes, and the listed piece they choose.
    const std::pair<std::vector<int>, std::size_t> cases[] = {
        {{8}, 0}, {{7, 15}, 1}, {{0, 0, 0}, 2}, {{1, 2, 4}, 2}};
    for (const auto& [draws, chosen] : cases) {
        three.draws = draws;
        three.used = 0;
        EXPECT_EQ(three.music.PickMidiFile(), three.dir / listed[chosen]);
        EXPECT_EQ(three.used, draws.size());
    }

    MusicRig rig({"only.mid"});
    rig.music.OnMusic();
    rig.player.onEnd();  // the piece ended: the next one starts
    rig.music.OnMusic();
    rig.player.onEnd();  // a notice after the music went off closes once more, and that is all
    EXPECT_EQ(rig.player.calls, (Calls{"open only.mid", "test", "play", "close", "open only.mid",
                                       "test", "play", "close", "close"}));
    EXPECT_FALSE(rig.music.IsOn());

    // No output: nothing plays, yet music stays on, so it takes F12 twice to try again.
    rig.player.calls.clear();
    rig.player.bOutput = false;
    rig.music.OnMusic();
    EXPECT_TRUE(rig.music.IsOn());
    rig.player.bOutput = true;
    rig.music.OnMusic();
    rig.music.OnMusic();
    EXPECT_EQ(rig.player.calls,
              (Calls{"open only.mid", "test", "close", "close", "open only.mid", "test", "play"}));

    // Without pieces, each F12 that turns music on says so; music stays on.
    std::filesystem::remove(rig.dir / "only.mid");
    rig.player.calls.clear();
    for (int press = 0; press < 4; ++press) {
        rig.music.OnMusic();
    }
    EXPECT_TRUE(rig.music.IsOn());
    EXPECT_EQ(rig.op.messages, Calls(2, "Unable to locate any .mid files at\n" + rig.dir.Dir()));
    EXPECT_EQ(rig.player.calls, (Calls{"close", "close"}));
}
