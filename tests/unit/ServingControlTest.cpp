#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include "platform/Priority.h"
#include "server/DecisionBox.h"
#include "server/ListenSocket.h"
#include "server/Manager.h"
#include "support/ServerHarness.h"

namespace {

const std::string kRefusal("\x00\x05\x00\x00Service not available\x00\x00", 27);

// A read left hanging: the client asked and never acknowledged.
void StartHangingRead(ServerHarness& h, TftpPeer& peer) {
    WriteFile(h.out / "big.bin", PatternBytes(5000));
    auto data = peer.Exchange(h.port, tftp::Rrq("big.bin"));
    ASSERT_TRUE(data);
    ASSERT_EQ(h.app.ClientCount(), 1);
}

}  // namespace

TEST(ServingControl, StopWithoutClientsRefusesAtOnceAndStartServesAgain) {
    ServerHarness h;
    WriteFile(h.out / "a.txt", "hello");
    ASSERT_TRUE(h.Start());
    auto peer = h.NewPeer();
    h.app.OnStopServing();
    EXPECT_TRUE(h.op.shownBoxes.empty());
    EXPECT_EQ(peer->Exchange(h.port, tftp::Rrq("a.txt")), kRefusal);
    // Even a datagram too short to be a request is refused while stopped.
    EXPECT_EQ(peer->Exchange(h.port, "xy"), kRefusal);
    h.app.OnStartServing();
    auto data = peer->Exchange(h.port, tftp::Rrq("a.txt"));
    ASSERT_TRUE(data);
    EXPECT_EQ(tftp::Payload(*data), "hello");
}

TEST(ServingControl, StopWithClientsAsksAndTheLastClientLeavingClosesTheBox) {
    ServerHarness h;
    ASSERT_TRUE(h.Start());
    auto peer = h.NewPeer();
    StartHangingRead(h, *peer);
    const std::uint16_t oldPort = h.port;

    h.app.OnStopServing();
    ASSERT_EQ(h.op.shownBoxes.size(), 1u);
    ASSERT_TRUE(h.app.m_pStopServingDlg);
    EXPECT_EQ(h.app.m_pStopServingDlg->GetKind(), CDecisionBox::Kind::StopServing);
    EXPECT_EQ(h.app.m_pStopServingDlg->Texts().size(), 2u);
    // Asking again shows the same box.
    h.app.OnStopServing();
    EXPECT_EQ(h.op.shownBoxes.size(), 2u);
    EXPECT_EQ(h.op.shownBoxes[0], h.op.shownBoxes[1]);

    auto stranger = h.NewPeer("127.0.0.2");
    EXPECT_EQ(stranger->Exchange(oldPort, tftp::Rrq("x")), kRefusal);

    // The running client gives up after its retries; the tick that removes it closes the box
    // and remakes the socket, still stopped.
    for (int i = 0; i < 6 && h.app.ClientCount() != 0; ++i) {
        h.ExpireAndTick();
    }
    EXPECT_EQ(h.app.ClientCount(), 0);
    EXPECT_FALSE(h.app.m_pStopServingDlg);
    EXPECT_EQ(h.op.destroyedBoxes.size(), 1u);
    EXPECT_EQ(h.app.m_bServing, 0);
    EXPECT_EQ(stranger->Exchange(oldPort, tftp::Rrq("x")), kRefusal);
}

TEST(ServingControl, KeepClientsLetsTransfersFinishAndDropClientsCutsThem) {
    ServerHarness h;
    ASSERT_TRUE(h.Start());
    auto peer = h.NewPeer();
    StartHangingRead(h, *peer);
    h.app.OnStopServing();
    h.app.m_pStopServingDlg->OnCancel();  // Keep Clients
    EXPECT_FALSE(h.app.m_pStopServingDlg);
    EXPECT_EQ(h.app.ClientCount(), 1);
    peer->Reply(tftp::Ack(1));
    auto next = peer->Receive();
    ASSERT_TRUE(next);
    EXPECT_EQ(tftp::Number(*next), 2) << "the running client carries on";

    h.app.OnStopServing();
    h.app.m_pStopServingDlg->OnOK();  // Drop Clients
    EXPECT_EQ(h.app.ClientCount(), 0);
    EXPECT_FALSE(h.app.m_pStopServingDlg);
    EXPECT_EQ(h.app.m_bServing, 0);
    // The dropped client's row stays as it stood.
    EXPECT_EQ(h.model.Rows().back().itemData, 1);
}

TEST(ServingControl, StartServingWithTheStopBoxOpenClosesBothBoxes) {
    ServerHarness h;
    ASSERT_TRUE(h.Start());
    auto peer = h.NewPeer();
    StartHangingRead(h, *peer);
    h.app.PortChanged();
    h.app.OnStopServing();
    ASSERT_TRUE(h.app.m_pPortChangeDlg && h.app.m_pStopServingDlg);
    h.app.OnStartServing();
    EXPECT_FALSE(h.app.m_pPortChangeDlg);
    EXPECT_FALSE(h.app.m_pStopServingDlg);
    EXPECT_EQ(h.app.m_bServing, 1);
    EXPECT_EQ(h.app.ClientCount(), 1);
}

TEST(ServingControl, PortChangeSwitchesAtOnceWithoutClientsAndWaitsForThemOtherwise) {
    ServerHarness h;
    ASSERT_TRUE(h.Start());
    int titles = 0;
    h.app.m_OnNewDocument = [&titles] { ++titles; };

    const std::uint16_t second = FreeUdpPort();
    h.app.Port = std::to_string(second);
    h.app.PortChanged();
    EXPECT_EQ(titles, 1);
    EXPECT_EQ(h.app.m_ServerTitle, "127.0.0.1." + std::to_string(second));
    EXPECT_EQ(h.app.m_pListenSocket->LocalPort(), second);

    // With a client running the old port stays until the last client has gone.
    h.port = second;
    auto peer = h.NewPeer();
    StartHangingRead(h, *peer);
    const std::uint16_t third = FreeUdpPort();
    h.app.Port = std::to_string(third);
    h.app.PortChanged();
    ASSERT_TRUE(h.app.m_pPortChangeDlg);
    EXPECT_EQ(h.app.m_pPortChangeDlg->Texts().size(), 3u);
    EXPECT_EQ(h.app.m_pListenSocket->LocalPort(), second);
    peer->Reply(tftp::Error(0, "bye"));
    h.Pump();
    h.Tick();
    EXPECT_FALSE(h.app.m_pPortChangeDlg);
    EXPECT_EQ(h.app.m_pListenSocket->LocalPort(), third);
    EXPECT_EQ(h.app.m_ServerTitle, "127.0.0.1." + std::to_string(third));
    EXPECT_EQ(titles, 2);
}

TEST(ServingControl, KeepClientsOnAPortChangeKeepsTheOldPort) {
    ServerHarness h;
    ASSERT_TRUE(h.Start());
    auto peer = h.NewPeer();
    StartHangingRead(h, *peer);
    h.app.Port = std::to_string(FreeUdpPort());
    h.app.PortChanged();
    h.app.m_pPortChangeDlg->OnCancel();
    peer->Reply(tftp::Error(0, "bye"));
    h.Pump();
    h.Tick();
    h.Tick();
    EXPECT_EQ(h.app.m_pListenSocket->LocalPort(), h.port);
}

TEST(ServingControl, PortStartValuesAndWrapping) {
    ServerHarness h;
    const std::uint16_t port = FreeUdpPort();
    // The socket takes the low 16 bits, the title the whole number; digits stop at a letter.
    h.app.Port = std::to_string(65536 + port) + "x";
    ASSERT_TRUE(h.Start());
    EXPECT_EQ(h.app.m_pListenSocket->LocalPort(), port);
    EXPECT_EQ(h.app.m_ServerTitle, "127.0.0.1." + std::to_string(65536 + port));
}

TEST(ServingControl, APortInUseFailsTheStartWithBothTexts) {
    ServerHarness first;
    ASSERT_TRUE(first.Start());
    ServerHarness second;
    second.app.Port = std::to_string(first.port);
    EXPECT_FALSE(second.Start());
    ASSERT_EQ(second.op.messages.size(), 2u);
    EXPECT_EQ(second.op.messages[0], "Unable to Create listening port");
    EXPECT_EQ(second.op.messages[1],
              "Unable to initialise server operations\n\nProgram will now terminate\n\n(Is there "
              "another TFTP Server running ?)");
}

TEST(ServingControl, PrioritiesFollowTheModeAndTheClientCount) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "raising a priority needs root";
    }
    ServerHarness h;
    ASSERT_TRUE(h.Start());
    const pid_t self = CurrentThreadId();
    auto niceOf = [](pid_t tid) { return getpriority(PRIO_PROCESS, static_cast<id_t>(tid)); };

    h.app.nPriority = 0;
    h.app.ApplyThreadPriorities();
    EXPECT_EQ(niceOf(self), 1);
    h.app.nPriority = 4;  // an unset mode changes nothing
    h.app.ApplyThreadPriorities();
    EXPECT_EQ(niceOf(self), 1);
    h.app.nPriority = 2;
    h.app.ApplyThreadPriorities();
    EXPECT_EQ(niceOf(self), -1);

    // Automatic: six clients raise every worker, and the main thread runs at normal.
    h.app.nPriority = 3;
    std::vector<std::unique_ptr<TftpPeer>> peers;
    WriteFile(h.out / "f", PatternBytes(2000));
    for (int i = 0; i < 6; ++i) {
        peers.push_back(h.NewPeer());
        ASSERT_TRUE(peers.back()->Exchange(h.port, tftp::Rrq("f")));
    }
    h.app.ApplyThreadPriorities();
    EXPECT_EQ(niceOf(self), 0);
    for (const auto& worker : h.app.m_pListenSocket->m_ClientList) {
        EXPECT_EQ(niceOf(worker->ThreadId()), -1);
    }
    h.app.nPriority = 1;
    h.app.ApplyThreadPriorities();
}
