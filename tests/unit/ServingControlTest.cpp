#include "server/DecisionBox.h"
#include "server/ListenSocket.h"
#include "unit/PeerSteps.h"

using ServingControl = Served;

// Keep Clients and Drop Clients are clicked through in the window's DecisionBoxes test.
TEST_F(ServingControl, StopRefusesAtOnceWithoutClientsAsksWithThemAndTheLastOneLeavingCloses) {
    WriteFile(h.out / "a.txt", "hello");
    h.app.OnStopServing();
    EXPECT_TRUE(h.op.shownBoxes.empty());
    EXPECT_EQ(peer->Exchange(h.port, tftp::Rrq("a.txt")), kRefusal);
    EXPECT_EQ(peer->Exchange(h.port, "xy"), kRefusal) << "even a datagram too short";
    h.app.OnStartServing();
    EXPECT_EQ(peer->Exchange(h.port, tftp::Rrq("a.txt")), tftp::Data(1, "hello"));

    const auto hanging = h.HangingRead();
    ASSERT_TRUE(hanging);
    h.app.PortChanged();
    h.app.OnStopServing();
    ASSERT_TRUE(h.app.m_pPortChangeDlg && h.app.m_pStopServingDlg);
    h.app.OnStartServing();
    EXPECT_FALSE(h.app.m_pPortChangeDlg || h.app.m_pStopServingDlg);
    EXPECT_EQ(h.app.m_bServing, 1);

    h.op.shownBoxes.clear();
    h.op.destroyedBoxes.clear();
    h.app.OnStopServing();
    h.app.OnStopServing();
    ASSERT_TRUE(h.app.m_pStopServingDlg);
    EXPECT_EQ(h.app.m_pStopServingDlg->GetKind(), CDecisionBox::Kind::StopServing);
    ASSERT_EQ(h.op.shownBoxes.size(), 2u);
    EXPECT_EQ(h.op.shownBoxes[0], h.op.shownBoxes[1]) << "asking again shows the same box";
    auto stranger = h.NewPeer("127.0.0.2");
    EXPECT_EQ(stranger->Exchange(h.port, tftp::Rrq("x")), kRefusal);

    // The tick that retires the running client closes the box and remakes the socket, stopped.
    for (int i = 0; i < 6 && h.app.ClientCount() != 0; ++i) {
        h.ExpireAndTick();
    }
    EXPECT_EQ(h.app.ClientCount(), 0);
    EXPECT_FALSE(h.app.m_pStopServingDlg);
    EXPECT_EQ(h.op.destroyedBoxes.size(), 1u);
    EXPECT_EQ(stranger->Exchange(h.port, tftp::Rrq("x")), kRefusal);
}

TEST_F(ServingControl, PortChangeSwitchesAtOnceWithoutClientsAndWaitsForThemOtherwise) {
    int titles = 0;
    h.app.m_OnNewDocument = [&titles] { ++titles; };
    // The socket takes the low 16 bits, the title the whole number; digits stop at a letter.
    const std::uint16_t second = FreeUdpPort();
    h.app.Port = std::to_string(65536 + second) + "x";
    h.app.PortChanged();
    EXPECT_EQ(titles, 1);
    EXPECT_EQ(h.app.m_ServerTitle, "127.0.0.1." + std::to_string(65536 + second));
    EXPECT_EQ(h.app.m_pListenSocket->LocalPort(), second);

    // With a client the old port stays until its last client retires; Keep Clients keeps it.
    h.port = second;
    for (const bool bKeep : {false, true}) {
        const auto hanging = h.HangingRead();
        ASSERT_TRUE(hanging);
        const std::uint16_t next = FreeUdpPort();
        h.app.Port = std::to_string(next);
        h.app.PortChanged();
        ASSERT_TRUE(h.app.m_pPortChangeDlg);
        EXPECT_EQ(h.app.m_pListenSocket->LocalPort(), h.port);
        if (bKeep) {
            h.app.m_pPortChangeDlg->OnCancel();
        }
        hanging->Reply(tftp::Error(0, "bye"));
        h.Pump();
        h.Tick();
        if (bKeep) {
            h.Tick();  // and later ones too
        }
        EXPECT_FALSE(h.app.m_pPortChangeDlg);
        EXPECT_EQ(h.app.m_pListenSocket->LocalPort(), bKeep ? h.port : next);
        EXPECT_EQ(h.app.m_ServerTitle, "127.0.0.1." + std::to_string(bKeep ? h.port : next));
        EXPECT_EQ(titles, 2);
        h.port = h.app.m_pListenSocket->LocalPort();
    }
}
