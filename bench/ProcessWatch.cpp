#include "bench/ProcessWatch.h"

#include <linux/genetlink.h>
#include <linux/netlink.h>
#include <linux/taskstats.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>

namespace bench {
namespace {

std::string ProcPath(pid_t pid, const char* leaf) {
    return "/proc/" + std::to_string(pid) + "/" + leaf;
}

// Fields 14 to 17 of /proc/PID/stat: utime, stime, cutime, cstime, in clock ticks.
void AddCpu(pid_t pid, TreeSample& sample) {
    std::ifstream in(ProcPath(pid, "stat"));
    std::string line;
    std::getline(in, line);
    // The command name may hold spaces; the fields after it are counted from its ')'.
    const std::size_t close = line.rfind(')');
    if (close == std::string::npos) {
        return;
    }
    std::istringstream fields(line.substr(close + 2));
    std::string field;
    const auto tick = static_cast<double>(sysconf(_SC_CLK_TCK));
    for (int index = 3; index <= 17 && fields >> field; ++index) {
        if (index >= 14) {
            (index <= 15 ? sample.cpuSeconds : sample.reapedSeconds) += std::stod(field) / tick;
        }
    }
}

std::uint64_t HwmKiB(pid_t pid) {
    std::ifstream in(ProcPath(pid, "status"));
    std::string line;
    while (std::getline(in, line)) {
        if (line.rfind("VmHWM:", 0) == 0) {
            return std::stoull(line.substr(6));
        }
    }
    return 0;
}

std::size_t Aligned(std::size_t n) {
    return (n + 3) & ~std::size_t{3};
}

// Calls visit(type, payload, length) for each netlink attribute in [p, p + n).
template <typename Visit>
void ForEachAttribute(const char* p, std::size_t n, const Visit& visit) {
    while (n >= NLA_HDRLEN) {
        nlattr attribute{};
        std::memcpy(&attribute, p, sizeof attribute);
        if (attribute.nla_len < NLA_HDRLEN || attribute.nla_len > n) {
            return;
        }
        visit(attribute.nla_type & NLA_TYPE_MASK, p + NLA_HDRLEN, attribute.nla_len - NLA_HDRLEN);
        const std::size_t step = std::min(Aligned(attribute.nla_len), n);
        p += step;
        n -= step;
    }
}

// Calls visit(header, payload, length) for each netlink message in the datagram.
template <typename Visit>
void ForEachMessage(const char* p, std::size_t n, const Visit& visit) {
    while (n >= NLMSG_HDRLEN) {
        nlmsghdr header{};
        std::memcpy(&header, p, sizeof header);
        if (header.nlmsg_len < NLMSG_HDRLEN || header.nlmsg_len > n) {
            return;
        }
        visit(header, p + NLMSG_HDRLEN, header.nlmsg_len - NLMSG_HDRLEN);
        const std::size_t step = std::min(Aligned(header.nlmsg_len), n);
        p += step;
        n -= step;
    }
}

// The attributes of a generic netlink message, behind its own header.
template <typename Visit>
void ForEachGenericAttribute(const char* p, std::size_t n, const Visit& visit) {
    if (n >= GENL_HDRLEN) {
        ForEachAttribute(p + GENL_HDRLEN, n - GENL_HDRLEN, visit);
    }
}

}  // namespace

std::vector<pid_t> ProcessTree(pid_t root) {
    std::vector<pid_t> tree{root};
    // Breadth first; a child can be forked by any thread, so every thread's list is read.
    for (std::size_t i = 0; i < tree.size() && tree.size() < 4096; ++i) {
        std::error_code error;
        for (const auto& task :
             std::filesystem::directory_iterator(ProcPath(tree[i], "task"), error)) {
            std::ifstream children(task.path() / "children");
            pid_t child = 0;
            while (children >> child) {
                tree.push_back(child);
            }
        }
    }
    return tree;
}

TreeSample SampleTree(pid_t root) {
    TreeSample sample;
    sample.pids = ProcessTree(root);
    for (const pid_t pid : sample.pids) {
        AddCpu(pid, sample);
        sample.hwmKiB += HwmKiB(pid);
    }
    return sample;
}

void ResetPeaks(pid_t root) {
    for (const pid_t pid : ProcessTree(root)) {
        // 5 in clear_refs resets VmHWM to the resident size (proc(5)).
        std::ofstream(ProcPath(pid, "clear_refs")) << "5";
    }
}

ExitListener::ExitListener() {
    m_fd = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_GENERIC);
    sockaddr_nl local{};
    local.nl_family = AF_NETLINK;
    if (m_fd < 0 || bind(m_fd, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
        Close();
        return;
    }
    // Ends come in bursts when many transfers finish at once; a second bounds every wait here.
    const int size = 8 << 20;
    setsockopt(m_fd, SOL_SOCKET, SO_RCVBUFFORCE, &size, sizeof size);
    const timeval wait{1, 0};
    setsockopt(m_fd, SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof wait);
    std::vector<char> buffer(1 << 16);
    if (Send(GENL_ID_CTRL, CTRL_CMD_GETFAMILY, CTRL_ATTR_FAMILY_NAME, TASKSTATS_GENL_NAME)) {
        const ssize_t n = recv(m_fd, buffer.data(), buffer.size(), 0);
        ForEachMessage(buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(n, 0)),
                       [&](const nlmsghdr& header, const char* p, std::size_t length) {
                           if (header.nlmsg_type != GENL_ID_CTRL) {
                               return;
                           }
                           ForEachGenericAttribute(
                               p, length, [&](int type, const char* q, std::size_t) {
                                   if (type == CTRL_ATTR_FAMILY_ID) {
                                       std::memcpy(&m_family, q, sizeof m_family);
                                   }
                               });
                       });
    }
    m_cpus = "0-" + std::to_string(sysconf(_SC_NPROCESSORS_CONF) - 1);
    if (m_family == 0 ||
        !Send(m_family, TASKSTATS_CMD_GET, TASKSTATS_CMD_ATTR_REGISTER_CPUMASK, m_cpus)) {
        Close();
        return;
    }
    // The kernel's answer to the registration; ends of other tasks may arrive before it.
    std::optional<int> answer;
    for (int i = 0; i < 1000 && !answer; ++i) {
        const ssize_t n = recv(m_fd, buffer.data(), buffer.size(), 0);
        if (n < 0 && errno != ENOBUFS) {
            break;
        }
        ForEachMessage(buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(n, 0)),
                       [&](const nlmsghdr& header, const char* p, std::size_t length) {
                           if (header.nlmsg_type == NLMSG_ERROR && length >= sizeof(nlmsgerr)) {
                               nlmsgerr error{};
                               std::memcpy(&error, p, sizeof error);
                               answer = error.error;
                           }
                       });
    }
    if (answer != 0) {
        Close();
    }
}

ExitListener::~ExitListener() {
    if (Listening()) {
        Send(m_family, TASKSTATS_CMD_GET, TASKSTATS_CMD_ATTR_DEREGISTER_CPUMASK, m_cpus);
    }
    Close();
}

void ExitListener::Listen(int ms, std::set<pid_t>& tree) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
    std::vector<char> buffer(1 << 16);
    // Every task of the machine that ends is reported, so reports may never pause.
    for (auto now = std::chrono::steady_clock::now(); Listening() && now <= end;
         now = std::chrono::steady_clock::now()) {
        pollfd ready{m_fd, POLLIN, 0};
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - now);
        if (poll(&ready, 1, static_cast<int>(left.count())) <= 0) {
            return;
        }
        const ssize_t n = recv(m_fd, buffer.data(), buffer.size(), MSG_DONTWAIT);
        if (n < 0) {
            m_bOverflowed = m_bOverflowed || errno == ENOBUFS;
            continue;
        }
        ForEachMessage(buffer.data(), static_cast<std::size_t>(n),
                       [&](const nlmsghdr& header, const char* p, std::size_t length) {
                           if (header.nlmsg_type == m_family) {
                               ForEachGenericAttribute(
                                   p, length, [&](int type, const char* q, std::size_t size) {
                                       if (type == TASKSTATS_TYPE_AGGR_PID) {
                                           Take(q, size, tree);
                                       }
                                   });
                           }
                       });
    }
}

void ExitListener::Take(const char* p, std::size_t n, std::set<pid_t>& tree) {
    ForEachAttribute(p, n, [&](int type, const char* q, std::size_t size) {
        if (type != TASKSTATS_TYPE_STATS) {
            return;
        }
        taskstats stats{};
        std::memcpy(&stats, q, std::min(size, sizeof stats));
        if (tree.count(static_cast<pid_t>(stats.ac_ppid)) != 0) {
            tree.insert(static_cast<pid_t>(stats.ac_pid));
            m_seconds += static_cast<double>(stats.ac_utime + stats.ac_stime) / 1e6;
            ++m_count;
        }
    });
}

bool ExitListener::Send(std::uint16_t type, std::uint8_t command, std::uint16_t attribute,
                        const std::string& value) {
    const std::size_t length = NLMSG_HDRLEN + GENL_HDRLEN + NLA_HDRLEN + Aligned(value.size() + 1);
    std::vector<char> message(length, '\0');
    nlmsghdr header{};
    header.nlmsg_len = static_cast<std::uint32_t>(length);
    header.nlmsg_type = type;
    // Only the registration is answered by an acknowledgement alone.
    header.nlmsg_flags = NLM_F_REQUEST | (type == GENL_ID_CTRL ? 0 : NLM_F_ACK);
    genlmsghdr generic{};
    generic.cmd = command;
    generic.version = TASKSTATS_GENL_VERSION;
    nlattr head{};
    head.nla_len = static_cast<std::uint16_t>(NLA_HDRLEN + value.size() + 1);
    head.nla_type = attribute;
    std::memcpy(message.data(), &header, sizeof header);
    std::memcpy(message.data() + NLMSG_HDRLEN, &generic, sizeof generic);
    std::memcpy(message.data() + NLMSG_HDRLEN + GENL_HDRLEN, &head, sizeof head);
    std::memcpy(message.data() + NLMSG_HDRLEN + GENL_HDRLEN + NLA_HDRLEN, value.data(),
                value.size());
    sockaddr_nl kernel{};
    kernel.nl_family = AF_NETLINK;
    return sendto(m_fd, message.data(), length, 0, reinterpret_cast<const sockaddr*>(&kernel),
                  sizeof kernel) == static_cast<ssize_t>(length);
}

void ExitListener::Close() {
    if (m_fd >= 0) {
        close(m_fd);
        m_fd = -1;
    }
}

}  // namespace bench
