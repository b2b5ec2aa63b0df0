// Throughput of whole transfers through the server core on loopback: the server runs its own
// loop on a thread, a lockstep raw client drives it from the benchmark thread.
#include <benchmark/benchmark.h>

#include <atomic>
#include <future>
#include <thread>

#include "support/ServerHarness.h"

namespace {

constexpr std::size_t kFileSize = 8 << 20;

class ServerThread {
  public:
    ServerThread() {
        std::promise<std::uint16_t> ready;
        auto started = ready.get_future();
        m_thread = std::thread([this, &ready] {
            ServerHarness h;
            WriteFile(h.out / "bench.bin", PatternBytes(kFileSize));
            h.app.nMaxClientsPos = 5;  // finished clients leave only at the tick
            h.Start();
            m_in = h.in.Path();
            h.loop.StartTimer(5000, true, [&h] { h.Tick(); });
            h.loop.StartTimer(20, true, [this, &h] {
                if (m_stop) {
                    h.loop.Quit();
                }
            });
            ready.set_value(h.port);
            h.loop.Run();
        });
        m_port = started.get();
    }
    ~ServerThread() {
        m_stop = true;
        m_thread.join();
    }
    std::uint16_t Port() const { return m_port; }

  private:
    std::thread m_thread;
    std::atomic<bool> m_stop{false};
    std::uint16_t m_port = 0;
    std::string m_in;
};

ServerThread& Server() {
    static ServerThread server;
    return server;
}

void BM_Read(benchmark::State& state) {
    const auto blksize = static_cast<std::size_t>(state.range(0));
    for (auto _ : state) {
        TftpPeer peer(nullptr);
        auto reply =
            peer.Exchange(Server().Port(),
                          tftp::Rrq("bench.bin", "octet", {{"blksize", std::to_string(blksize)}}));
        peer.Reply(tftp::Ack(0));
        std::size_t received = 0;
        for (std::uint16_t block = 1;; ++block) {
            auto data = peer.Receive();
            if (!data) {
                state.SkipWithError("transfer stalled");
                return;
            }
            peer.Reply(tftp::Ack(block));
            received += data->size() - 4;
            if (data->size() - 4 < blksize) {
                break;
            }
        }
        benchmark::DoNotOptimize(received);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kFileSize));
}

void BM_Write(benchmark::State& state) {
    const auto blksize = static_cast<std::size_t>(state.range(0));
    const std::string payload = PatternBytes(blksize);
    for (auto _ : state) {
        TftpPeer peer(nullptr);
        auto oack = peer.Exchange(
            Server().Port(), tftp::Wrq("up.bin", "octet", {{"blksize", std::to_string(blksize)}}));
        const std::size_t blocks = kFileSize / blksize;
        for (std::size_t i = 1; i <= blocks + 1; ++i) {
            peer.Reply(tftp::Data(static_cast<std::uint16_t>(i), i <= blocks ? payload : ""));
            if (!peer.Receive()) {
                state.SkipWithError("transfer stalled");
                return;
            }
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(
        state.iterations() * (kFileSize / state.range(0)) * state.range(0)));
}

}  // namespace

BENCHMARK(BM_Read)->Arg(512)->Arg(1428)->Arg(8192)->Arg(65464)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Write)->Arg(512)->Arg(1428)->Arg(8192)->Arg(65464)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
