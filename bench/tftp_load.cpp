// tftp_load: drives a TFTP server on loopback with many sessions and prints one line of
// key=value figures; also the trivial responder and the pattern files the figures rely on.
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <thread>

#include "bench/LoadClient.h"
#include "bench/ProcessWatch.h"
#include "bench/Responder.h"
#include "bench/TftpWire.h"

namespace {

constexpr char kUsage[] =
    "usage:\n"
    "  tftp_load --port N --file NAME --local PATH [--op rrq|wrq] [--host 127.x.x.x]\n"
    "            [--mode octet|netascii] [--blksize N] [--tsize] [--timeout S]\n"
    "            [--sessions N] [--count N] [--retry-ms MS] [--retries N] [--deadline S]\n"
    "            [--watch PID]\n"
    "  tftp_load --respond --size BYTES [--port N] [--lifetime S]\n"
    "  tftp_load --make-file PATH --size BYTES\n"
    "\n"
    "A read checks every byte against PATH; a write sends PATH. NAME may hold {n}, the\n"
    "transfer's serial. --watch adds the CPU time and the peak memory of process PID and its\n"
    "children. The responder serves the pattern of --make-file from memory; a name that starts\n"
    "with a number N gets its first N bytes.\n";

constexpr unsigned kMaxSessions = 1000;

std::atomic<bool> g_stop{false};

// Options as given: "--name value", or "--name" alone for the flags; nothing if one is unknown.
std::optional<std::map<std::string, std::string>> ParseArgs(int argc, char** argv) {
    static const std::set<std::string> flags = {"--tsize", "--respond", "--help"};
    static const std::set<std::string> valued = {
        "--port",     "--file",    "--local",    "--op",       "--host",     "--mode",
        "--blksize",  "--timeout", "--sessions", "--count",    "--retry-ms", "--retries",
        "--deadline", "--watch",   "--size",     "--lifetime", "--make-file"};
    std::map<std::string, std::string> args;
    for (int i = 1; i < argc; ++i) {
        const std::string name = argv[i];
        if (flags.count(name) != 0) {
            args[name] = "";
        } else if (valued.count(name) != 0 && i + 1 < argc) {
            args[name] = argv[++i];
        } else {
            return std::nullopt;
        }
    }
    return args;
}

// A read-only map of the file; nothing (and a message) if it cannot be had.
std::optional<std::string_view> MapFile(const std::string& path) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat info {};
    if (fd < 0 || fstat(fd, &info) != 0) {
        std::fprintf(stderr, "tftp_load: cannot read %s: %s\n", path.c_str(), std::strerror(errno));
        return std::nullopt;
    }
    const auto size = static_cast<std::size_t>(info.st_size);
    void* bytes =
        size == 0 ? nullptr : mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_POPULATE, fd, 0);
    close(fd);
    if (bytes == MAP_FAILED) {
        std::fprintf(stderr, "tftp_load: cannot map %s: %s\n", path.c_str(), std::strerror(errno));
        return std::nullopt;
    }
    return std::string_view(static_cast<const char*>(bytes), size);
}

double Percentile(std::vector<double> values, double fraction) {
    if (values.empty()) {
        return -1;
    }
    std::sort(values.begin(), values.end());
    // Nearest rank: the smallest value with at least this fraction at or below it.
    const auto rank =
        static_cast<std::size_t>(fraction * static_cast<double>(values.size()) + 0.999999);
    return values[std::clamp<std::size_t>(rank, 1, values.size()) - 1];
}

// The CPU time and the peak memory of the watched tree while the load runs: /proc every
// 100 ms, and the ends of its processes as they come.
class Watcher {
  public:
    explicit Watcher(pid_t pid) : m_pid(pid) {
        bench::ResetPeaks(pid);
        m_start = bench::SampleTree(pid);
        m_tree.insert(m_start.pids.begin(), m_start.pids.end());
        m_thread = std::thread([this] {
            while (!m_bDone) {
                Step(100);
            }
        });
    }
    std::string Finish() {
        m_bDone = true;
        m_thread.join();
        // Children still ending get two seconds, so their time is in once they are gone.
        for (int i = 0; i < 200 && m_last.pids.size() > 1; ++i) {
            Step(10);
        }
        Step(50);
        double cpu = m_last.cpuSeconds - m_start.cpuSeconds;
        cpu +=
            m_exits.Listening() ? m_exits.Seconds() : m_last.reapedSeconds - m_start.reapedSeconds;
        const std::string ends = !m_exits.Listening()   ? "untracked"
                                 : m_exits.Overflowed() ? "lost"
                                                        : std::to_string(m_exits.Ends());
        char text[200];
        std::snprintf(text, sizeof text,
                      " server_cpu_s=%.3f server_hwm_kib=%llu server_processes_max=%zu "
                      "server_ends=%s",
                      cpu, static_cast<unsigned long long>(m_hwmKiB), m_processes, ends.c_str());
        return text;
    }

  private:
    void Step(int ms) {
        if (m_exits.Listening()) {
            m_exits.Listen(ms, m_tree);
        } else {
            std::this_thread::sleep_for(std::chrono::milliseconds(ms));
        }
        m_last = bench::SampleTree(m_pid);
        m_tree.insert(m_last.pids.begin(), m_last.pids.end());
        m_hwmKiB = std::max<std::uint64_t>(m_hwmKiB, m_last.hwmKiB);
        m_processes = std::max(m_processes, m_last.pids.size());
    }

    pid_t m_pid;
    bench::ExitListener m_exits;  // before the first sample, so that no end is missed
    bench::TreeSample m_start;
    bench::TreeSample m_last;
    std::set<pid_t> m_tree;
    std::atomic<bool> m_bDone{false};
    std::uint64_t m_hwmKiB = 0;
    std::size_t m_processes = 0;
    std::thread m_thread;
};

std::string Summary(const bench::LoadPlan& plan, const bench::LoadReport& report) {
    std::uint64_t bytes = 0;
    unsigned ok = 0;
    unsigned retransmits = 0;
    std::vector<double> firstMs;
    std::vector<double> seconds;
    std::string failure;
    for (const bench::TransferResult& t : report.transfers) {
        retransmits += t.retransmits;
        if (!t.bOk) {
            failure = failure.empty() ? t.failure : failure;
            continue;
        }
        ++ok;
        bytes += t.bytes;
        seconds.push_back(t.seconds);
        firstMs.push_back(t.firstReplySeconds * 1000);
    }
    const bench::TransferSpec& spec = plan.spec;
    char text[640];
    std::snprintf(
        text, sizeof text,
        "op=%s mode=%s blksize=%s sessions=%u count=%u transfers=%zu ok=%u failed=%zu "
        "bytes=%llu seconds=%.6f mib_per_s=%.2f first_reply_ms_p50=%.4f first_reply_ms_p99=%.4f "
        "first_reply_ms_max=%.4f transfer_s_min=%.6f transfer_s_max=%.6f retransmits=%u",
        spec.direction == bench::Direction::Read ? "rrq" : "wrq",
        spec.bNetascii ? "netascii" : "octet",
        spec.blksize ? std::to_string(*spec.blksize).c_str() : "none", plan.sessions, plan.count,
        report.transfers.size(), ok, report.transfers.size() - ok,
        static_cast<unsigned long long>(bytes), report.seconds,
        report.seconds > 0 ? static_cast<double>(bytes) / (1 << 20) / report.seconds : 0.0,
        Percentile(firstMs, 0.5), Percentile(firstMs, 0.99), Percentile(firstMs, 1.0),
        Percentile(seconds, 0.0), Percentile(seconds, 1.0), retransmits);
    std::string line = text;
    if (!failure.empty()) {
        std::replace(failure.begin(), failure.end(), '"', '\'');
        line += " failure=\"" + failure + "\"";
    }
    return line;
}

template <typename T>
bool TakeNumber(const std::map<std::string, std::string>& args, const char* name, T& out, T low,
                T high) {
    const auto it = args.find(name);
    if (it == args.end()) {
        return true;
    }
    const std::optional<std::size_t> value = bench::ParseSize(it->second);
    if (!value || *value < static_cast<std::size_t>(low) ||
        *value > static_cast<std::size_t>(high)) {
        std::fprintf(stderr, "tftp_load: %s wants a number from %llu to %llu\n", name,
                     static_cast<unsigned long long>(low), static_cast<unsigned long long>(high));
        return false;
    }
    out = static_cast<T>(*value);
    return true;
}

int MakeFile(const std::map<std::string, std::string>& args) {
    std::size_t size = 0;
    if (!args.count("--size") ||
        !TakeNumber(args, "--size", size, std::size_t{0}, std::size_t{1} << 36)) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    std::ofstream out(args.at("--make-file"), std::ios::binary | std::ios::trunc);
    const std::string bytes = bench::PatternBytes(size);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return out.good() ? 0 : 1;
}

int Respond(const std::map<std::string, std::string>& args) {
    std::size_t size = 0;
    std::uint16_t port = 0;
    unsigned lifetime = 3600;
    if (!args.count("--size") ||
        !TakeNumber(args, "--size", size, std::size_t{0}, std::size_t{1} << 32) ||
        !TakeNumber(args, "--port", port, std::uint16_t{0}, std::uint16_t{65535}) ||
        !TakeNumber(args, "--lifetime", lifetime, 1u, 86400u)) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    bench::Responder responder(bench::PatternBytes(size), port);
    if (!responder.Listening()) {
        std::fprintf(stderr, "tftp_load: cannot listen on 127.0.0.1:%u\n", port);
        return 1;
    }
    std::printf("port %u\n", responder.Port());
    std::fflush(stdout);
    struct sigaction action {};
    action.sa_handler = [](int) { g_stop = true; };
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
    responder.Run(g_stop, lifetime);
    return 0;
}

int Load(const std::map<std::string, std::string>& args) {
    bench::LoadPlan plan;
    bench::TransferSpec& spec = plan.spec;
    const auto op = args.find("--op");
    const auto mode = args.find("--mode");
    if (!args.count("--port") || !args.count("--file") || !args.count("--local") ||
        (op != args.end() && op->second != "rrq" && op->second != "wrq") ||
        (mode != args.end() && mode->second != "octet" && mode->second != "netascii")) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    spec.direction =
        op != args.end() && op->second == "wrq" ? bench::Direction::Write : bench::Direction::Read;
    spec.bNetascii = mode != args.end() && mode->second == "netascii";
    spec.host = args.count("--host") ? args.at("--host") : spec.host;
    spec.remote = args.at("--file");
    spec.bTsize = args.count("--tsize") != 0;
    std::size_t blksize = 0;
    unsigned timeout = 0;
    unsigned deadline = 600;
    pid_t watch = 0;
    if (!TakeNumber(args, "--port", spec.port, std::uint16_t{1}, std::uint16_t{65535}) ||
        !TakeNumber(args, "--blksize", blksize, bench::kMinBlockSize, bench::kMaxBlockSize) ||
        !TakeNumber(args, "--timeout", timeout, 1u, 255u) ||
        !TakeNumber(args, "--sessions", plan.sessions, 1u, kMaxSessions) ||
        !TakeNumber(args, "--count", plan.count, 1u, 1000000u) ||
        !TakeNumber(args, "--retry-ms", spec.retryMs, 1, 60000) ||
        !TakeNumber(args, "--retries", spec.maxRetries, 0, 100) ||
        !TakeNumber(args, "--deadline", deadline, 1u, 86400u) ||
        !TakeNumber(args, "--watch", watch, 1, 1 << 30)) {
        return 2;
    }
    plan.deadlineSeconds = deadline;
    spec.blksize = blksize != 0 ? std::optional(blksize) : std::nullopt;
    spec.timeoutOption = timeout != 0 ? std::optional(timeout) : std::nullopt;
    const std::optional<std::string_view> local = MapFile(args.at("--local"));
    if (!local) {
        return 1;
    }
    spec.local = *local;

    std::optional<Watcher> watcher;
    if (watch != 0) {
        watcher.emplace(watch);
    }
    const bench::LoadReport report = bench::RunLoad(plan);
    std::string line = Summary(plan, report);
    if (watcher) {
        line += watcher->Finish();
    }
    std::printf("%s\n", line.c_str());
    const bool bAllOk = std::all_of(report.transfers.begin(), report.transfers.end(),
                                    [](const bench::TransferResult& t) { return t.bOk; });
    return bAllOk ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    const auto args = ParseArgs(argc, argv);
    if (!args || args->empty() || args->count("--help")) {
        std::fputs(kUsage, args && args->count("--help") ? stdout : stderr);
        return args && args->count("--help") ? 0 : 2;
    }
    if (args->count("--make-file")) {
        return MakeFile(*args);
    }
    if (args->count("--respond")) {
        return Respond(*args);
    }
    return Load(*args);
}
