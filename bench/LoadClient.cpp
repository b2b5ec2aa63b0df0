#include "bench/LoadClient.h"

#include <strings.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <memory>

#include "bench/TftpWire.h"

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kMaxEvents = 256;
constexpr auto kTick = std::chrono::milliseconds(10);

double Since(Clock::time_point start, Clock::time_point now) {
    return std::chrono::duration<double>(now - start).count();
}

// One transfer on a socket of its own, from the request to the last packet.
class Transfer {
  public:
    Transfer(const TransferSpec& spec, const sockaddr_in& server, unsigned serial, int epoll,
             std::uint32_t session, Clock::time_point now);
    ~Transfer() { CloseSocket(); }
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    bool Done() const { return m_bDone; }
    const TransferResult& Result() const { return m_result; }
    void OnReadable(std::vector<char>& buffer, Clock::time_point now);
    // Sends the last packet again once its time is up, or gives up after the last retry.
    void OnTick(Clock::time_point now);
    void Fail(const std::string& why, std::uint16_t errorCode = 0, bool bTellPeer = false);

  private:
    enum class State { First, Reading, Writing };

    void Handle(const char* p, std::size_t n, const sockaddr_in& from, Clock::time_point now);
    void HandleFirst(std::uint16_t op, const char* p, std::size_t n, Clock::time_point now);
    bool AcceptOack(const char* p, std::size_t n);
    void HandleData(const char* p, std::size_t n, Clock::time_point now);
    bool Matches(const char* p, std::size_t n, bool bLast);
    void HandleAck(const char* p, std::size_t n, Clock::time_point now);
    void SendAck(bool bArm, Clock::time_point now);
    void SendNextBlock(Clock::time_point now);
    void Send(std::size_t length, bool bArm, Clock::time_point now);
    void Finish(Clock::time_point now);
    void CloseSocket();
    bool Reading() const { return m_spec.direction == Direction::Read; }
    bool AskedOptions() const { return m_spec.blksize || m_spec.bTsize || m_spec.timeoutOption; }

    const TransferSpec& m_spec;
    sockaddr_in m_server;
    sockaddr_in m_peer{};
    bool m_bPeerKnown = false;
    int m_fd = -1;
    State m_state = State::First;
    bool m_bDone = false;
    Clock::time_point m_start;
    TransferResult m_result;

    std::size_t m_blksize = kDefaultBlockSize;
    std::uint16_t m_block = 0;  // a read's last block taken, a write's last block sent
    std::size_t m_offset = 0;   // local bytes checked (read) or sent (write)
    bool m_bLastSent = false;
    NetasciiEncoder m_encoder;
    NetasciiDecoder m_decoder;
    std::string m_decoded;

    std::string m_packet;  // the last packet sent, kept for its retransmission
    std::size_t m_packetLength = 0;
    bool m_bArmed = false;
    Clock::time_point m_retryAt;
    int m_retries = 0;
};

Transfer::Transfer(const TransferSpec& spec, const sockaddr_in& server, unsigned serial, int epoll,
                   std::uint32_t session, Clock::time_point now)
    : m_spec(spec), m_server(server), m_start(now), m_encoder(spec.local) {
    m_fd = OpenLoopbackUdp();
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.u32 = session;
    if (m_fd < 0 || epoll_ctl(epoll, EPOLL_CTL_ADD, m_fd, &event) != 0) {
        Fail("no socket: " + std::string(std::strerror(errno)));
        return;
    }
    Options options;
    if (spec.blksize) {
        options.emplace_back("blksize", std::to_string(*spec.blksize));
    }
    if (spec.bTsize) {
        options.emplace_back("tsize", Reading() ? "0" : std::to_string(spec.local.size()));
    }
    if (spec.timeoutOption) {
        options.emplace_back("timeout", std::to_string(*spec.timeoutOption));
    }
    std::string name = spec.remote;
    if (const auto at = name.find("{n}"); at != std::string::npos) {
        name.replace(at, 3, std::to_string(serial));
    }
    m_packet =
        Request(Reading() ? kRrq : kWrq, name, spec.bNetascii ? "netascii" : "octet", options);
    Send(m_packet.size(), true, now);
}

void Transfer::OnReadable(std::vector<char>& buffer, Clock::time_point now) {
    // One datagram per wake-up: in lockstep a second is rare, and epoll reports it again.
    sockaddr_in from{};
    socklen_t fromLength = sizeof from;
    const ssize_t n = recvfrom(m_fd, buffer.data(), buffer.size(), 0,
                               reinterpret_cast<sockaddr*>(&from), &fromLength);
    if (n >= 0 && !m_bDone) {
        Handle(buffer.data(), static_cast<std::size_t>(n), from, now);
    }
}

void Transfer::OnTick(Clock::time_point now) {
    if (m_bDone || !m_bArmed || now < m_retryAt) {
        return;
    }
    if (m_retries >= m_spec.maxRetries) {
        Fail("timed out after " + std::to_string(m_retries) + " retries");
        return;
    }
    ++m_retries;
    ++m_result.retransmits;
    SendPacket(m_fd, m_bPeerKnown ? m_peer : m_server, m_packet.data(), m_packetLength);
    m_retryAt = now + std::chrono::milliseconds(m_spec.retryMs);
}

void Transfer::Fail(const std::string& why, std::uint16_t errorCode, bool bTellPeer) {
    if (m_bDone) {
        return;
    }
    if (bTellPeer && m_bPeerKnown) {
        SendPacket(m_fd, m_peer, ErrorPacket(errorCode, why));
    }
    m_result.failure = why;
    m_result.seconds = Since(m_start, Clock::now());
    m_bDone = true;
    CloseSocket();
}

void Transfer::Handle(const char* p, std::size_t n, const sockaddr_in& from,
                      Clock::time_point now) {
    if (n < 2 || from.sin_addr.s_addr != m_server.sin_addr.s_addr) {
        return;
    }
    if (!m_bPeerKnown) {
        m_peer = from;
        m_bPeerKnown = true;
    } else if (from.sin_port != m_peer.sin_port) {
        // RFC 1350: a packet from another port is answered so and changes nothing here.
        SendPacket(m_fd, from, ErrorPacket(5, "Unknown transfer ID"));
        return;
    }
    const std::uint16_t op = ReadWord(p);
    if (op == kError) {
        Fail("server said " + DescribeError(p, n));
    } else if (m_state == State::First) {
        HandleFirst(op, p, n, now);
    } else if (m_state == State::Reading && op == kData) {
        HandleData(p, n, now);
    } else if (m_state == State::Writing && op == kAck) {
        HandleAck(p, n, now);
    }
}

void Transfer::HandleFirst(std::uint16_t op, const char* p, std::size_t n, Clock::time_point now) {
    if (op == kOack && AskedOptions()) {
        if (!AcceptOack(p + 2, n - 2)) {
            return;
        }
    } else if (n < 4 || op != (Reading() ? kData : kAck) ||
               ReadWord(p + 2) != (Reading() ? 1 : 0)) {
        Fail("first reply is opcode " + std::to_string(op) + ", not what the request calls for", 4,
             true);
        return;
    }
    m_result.firstReplySeconds = Since(m_start, now);
    if (!Reading()) {
        m_state = State::Writing;
        SendNextBlock(now);
    } else if (op == kOack) {
        m_state = State::Reading;
        SendAck(true, now);
    } else {
        // A server may ignore every option (RFC 2347): DATA 1 at the default block size.
        m_state = State::Reading;
        HandleData(p, n, now);
    }
}

bool Transfer::AcceptOack(const char* p, std::size_t n) {
    const std::optional<Options> options = ParseOptions({p, n});
    if (!options) {
        Fail("OACK cut short", 8, true);
        return false;
    }
    std::size_t blksize = kDefaultBlockSize;
    for (const auto& [name, text] : *options) {
        const std::optional<std::size_t> value = ParseSize(text);
        const char* option = name.c_str();
        bool bFits = false;
        if (!value) {
            bFits = false;
        } else if (strcasecmp(option, "blksize") == 0) {
            bFits = m_spec.blksize && *value >= kMinBlockSize && *value <= *m_spec.blksize;
            blksize = *value;
        } else if (strcasecmp(option, "tsize") == 0) {
            // A netascii file may be sized in either form; an octet one has one true size.
            bFits =
                m_spec.bTsize && (!Reading() || m_spec.bNetascii || *value == m_spec.local.size());
        } else if (strcasecmp(option, "timeout") == 0) {
            bFits = m_spec.timeoutOption && *value == *m_spec.timeoutOption;
        }
        if (!bFits) {
            Fail("OACK answers " + name + "=" + text, 8, true);
            return false;
        }
    }
    m_blksize = blksize;
    return true;
}

void Transfer::HandleData(const char* p, std::size_t n, Clock::time_point now) {
    // Anything but the next block is a duplicate or a stray; acknowledging a duplicate again
    // would double every later block (the Sorcerer's Apprentice), so the time-out answers it.
    if (n < 4 || ReadWord(p + 2) != static_cast<std::uint16_t>(m_block + 1)) {
        return;
    }
    const std::size_t payload = n - 4;
    if (payload > m_blksize) {
        Fail("DATA of " + std::to_string(payload) + " bytes, block size " +
                 std::to_string(m_blksize),
             4, true);
        return;
    }
    const bool bLast = payload < m_blksize;
    if (!Matches(p + 4, payload, bLast)) {
        Fail("bytes differ from the expected ones near offset " + std::to_string(m_offset), 0,
             true);
        return;
    }
    ++m_block;
    m_result.bytes = m_offset;
    SendAck(!bLast, now);
    if (!bLast) {
        return;
    }
    if (m_offset != m_spec.local.size()) {
        Fail("file ends after " + std::to_string(m_offset) + " bytes, " +
             std::to_string(m_spec.local.size()) + " expected");
        return;
    }
    Finish(now);
}

bool Transfer::Matches(const char* p, std::size_t n, bool bLast) {
    if (m_spec.bNetascii) {
        m_decoded.clear();
        m_decoder.Feed(p, n, m_decoded);
        if (bLast) {
            m_decoder.Finish(m_decoded);
        }
        p = m_decoded.data();
        n = m_decoded.size();
    }
    const std::string_view& local = m_spec.local;
    if (n > local.size() - m_offset || std::memcmp(p, local.data() + m_offset, n) != 0) {
        return false;
    }
    m_offset += n;
    return true;
}

void Transfer::HandleAck(const char* p, std::size_t n, Clock::time_point now) {
    // An ACK of the block before is a duplicate: sending again on it starts the Sorcerer's
    // Apprentice, so only the time-out sends again.
    if (n < 4 || ReadWord(p + 2) != m_block) {
        return;
    }
    m_result.bytes = m_offset;
    if (m_bLastSent) {
        Finish(now);
    } else {
        SendNextBlock(now);
    }
}

void Transfer::SendAck(bool bArm, Clock::time_point now) {
    m_packet.resize(std::max<std::size_t>(m_packet.size(), 4));
    WriteWord(m_packet.data(), kAck);
    WriteWord(m_packet.data() + 2, m_block);
    Send(4, bArm, now);
}

void Transfer::SendNextBlock(Clock::time_point now) {
    ++m_block;
    m_packet.resize(std::max(m_packet.size(), m_blksize + 4));
    WriteWord(m_packet.data(), kData);
    WriteWord(m_packet.data() + 2, m_block);
    std::size_t payload = 0;
    if (m_spec.bNetascii) {
        payload = m_encoder.Fill(m_packet.data() + 4, m_blksize);
        m_offset = m_encoder.Consumed();
    } else {
        payload = std::min(m_blksize, m_spec.local.size() - m_offset);
        std::memcpy(m_packet.data() + 4, m_spec.local.data() + m_offset, payload);
        m_offset += payload;
    }
    m_bLastSent = payload < m_blksize;
    Send(4 + payload, true, now);
}

void Transfer::Send(std::size_t length, bool bArm, Clock::time_point now) {
    m_packetLength = length;
    m_retries = 0;
    m_bArmed = bArm;
    m_retryAt = now + std::chrono::milliseconds(m_spec.retryMs);
    SendPacket(m_fd, m_bPeerKnown ? m_peer : m_server, m_packet.data(), length);
}

void Transfer::Finish(Clock::time_point now) {
    m_result.bOk = true;
    m_result.bytes = m_spec.local.size();
    m_result.seconds = Since(m_start, now);
    m_bDone = true;
    CloseSocket();
}

void Transfer::CloseSocket() {
    // Closing drops the socket from the epoll set as well.
    if (m_fd >= 0) {
        close(m_fd);
        m_fd = -1;
    }
}

}  // namespace

LoadReport RunLoad(const LoadPlan& plan) {
    LoadReport report;
    const std::optional<sockaddr_in> server = Ipv4Address(plan.spec.host, plan.spec.port);
    if (!server || !IsLoopback(*server)) {
        report.transfers.push_back({false, "not an IPv4 loopback address: " + plan.spec.host});
        return report;
    }
    const int epoll = epoll_create1(EPOLL_CLOEXEC);
    if (epoll < 0) {
        report.transfers.push_back({false, "no epoll: " + std::string(std::strerror(errno))});
        return report;
    }
    std::vector<char> buffer(kMaxPacket);
    std::vector<std::unique_ptr<Transfer>> running(plan.sessions);
    std::vector<unsigned> finished(plan.sessions, 0);
    unsigned serial = 0;
    const Clock::time_point start = Clock::now();
    const Clock::time_point deadline =
        start + std::chrono::duration_cast<Clock::duration>(
                    std::chrono::duration<double>(plan.deadlineSeconds));

    // Takes the session's finished transfers and starts its next ones; false once it has
    // run them all.
    const auto advance = [&](std::uint32_t s, Clock::time_point now) {
        while (!running[s] || running[s]->Done()) {
            if (running[s]) {
                report.transfers.push_back(running[s]->Result());
                running[s].reset();
                ++finished[s];
            }
            if (finished[s] == plan.count || now >= deadline) {
                return false;
            }
            running[s] = std::make_unique<Transfer>(plan.spec, *server, serial++, epoll, s, now);
        }
        return true;
    };

    std::size_t active = 0;
    for (std::uint32_t s = 0; s < plan.sessions; ++s) {
        active += advance(s, Clock::now()) ? 1 : 0;
    }
    epoll_event events[kMaxEvents];
    std::vector<std::uint32_t> touched;
    Clock::time_point lastTick = start;
    while (active > 0) {
        const int n = epoll_wait(epoll, events, kMaxEvents,
                                 static_cast<int>(std::chrono::milliseconds(kTick).count()));
        const Clock::time_point now = Clock::now();
        touched.clear();
        for (int i = 0; i < n; ++i) {
            const std::uint32_t s = events[i].data.u32;
            if (running[s]) {
                running[s]->OnReadable(buffer, now);
                touched.push_back(s);
            }
        }
        if (now - lastTick >= kTick || now >= deadline) {
            lastTick = now;
            for (std::uint32_t s = 0; s < plan.sessions; ++s) {
                if (!running[s]) {
                    continue;
                }
                if (now >= deadline) {
                    running[s]->Fail("the run's deadline passed");
                } else {
                    running[s]->OnTick(now);
                }
                touched.push_back(s);
            }
        }
        for (const std::uint32_t s : touched) {
            if (running[s] && running[s]->Done() && !advance(s, now)) {
                --active;
            }
        }
    }
    report.seconds = Since(start, Clock::now());
    close(epoll);
    for (std::uint32_t s = 0; s < plan.sessions; ++s) {
        for (unsigned k = finished[s]; k < plan.count; ++k) {
            report.transfers.push_back({false, "not started before the run's deadline"});
        }
    }
    return report;
}

}  // namespace bench
