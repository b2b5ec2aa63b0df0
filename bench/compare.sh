#!/usr/bin/env bash
# Measures quaylond against tftpd-hpa and atftpd on loopback with bench's own load client, in
# interleaved rounds, and writes the medians to bench/RESULTS.md. Run as root on Debian.
set -euo pipefail

usage() {
    cat <<'EOF'
usage: bench/compare.sh [--quick] [--rounds N] [--output FILE] [--build DIR]

  --quick       an 8 MiB file, 16 MiB or more per sessions figure, 100 latency reads, one round
  --rounds N    rounds, each server in turn in each (default 3; --quick 1)
  --output FILE the Markdown report (default bench/RESULTS.md; --quick: a file in /tmp)
  --build DIR   the Release build folder (default build-compare beside bench/)
EOF
}

HERE=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
ROOT=$(dirname "$HERE")
QUICK=0
ROUNDS=
OUTPUT=
BUILD=$ROOT/build-compare
while [ $# -gt 0 ]; do
    case $1 in
        --quick) QUICK=1 ;;
        --rounds) ROUNDS=$2; shift ;;
        --output) OUTPUT=$2; shift ;;
        --build) BUILD=$2; shift ;;
        -h | --help) usage; exit 0 ;;
        *) usage >&2; exit 2 ;;
    esac
    shift
done
if [ "$(id -u)" != 0 ]; then
    echo "compare.sh: run as root: it installs packages and runs the servers as root" >&2
    exit 1
fi

MiB=$((1 << 20))
if [ $QUICK = 1 ]; then
    BIG=$((8 * MiB)) AGG=$((256 * 1024)) AGG_TOTAL=$((16 * MiB)) LAT_COUNT=100
    ROUNDS=${ROUNDS:-1} OUTPUT=${OUTPUT:-${TMPDIR:-/tmp}/quaylon-compare-quick.md} QUIET_BUDGET=0
else
    BIG=$((128 * MiB)) AGG=$MiB AGG_TOTAL=$((256 * MiB)) LAT_COUNT=1000
    ROUNDS=${ROUNDS:-3} OUTPUT=${OUTPUT:-$HERE/RESULTS.md} QUIET_BUDGET=300
fi
SMALL=1000
READ_SIZES="512 1468 8192 65464"
WRITE_SIZES="512 1468"
SESSIONS="1 8 64 256"
AGG_BLKSIZE=1468
DEADLINE=600 # seconds any one measurement may take

# Shared memory keeps the disk out of the figures; /tmp if it is too small.
SHM_FREE=$(df -Pk /dev/shm 2>/dev/null | awk 'NR == 2 {print $4}')
if [ "${SHM_FREE:-0}" -gt $((4 * BIG / 1024 + 262144)) ]; then
    WORK=$(mktemp -d /dev/shm/quaylon-compare.XXXXXX)
else
    WORK=$(mktemp -d /tmp/quaylon-compare.XXXXXX)
fi
chmod 755 "$WORK"
FILES=$WORK/files
SERVER_PID=
cleanup() {
    if [ -n "$SERVER_PID" ]; then
        kill "$SERVER_PID" 2>/dev/null || true
        wait "$SERVER_PID" 2>/dev/null || true
    fi
    rm -rf "$WORK"
}
trap cleanup EXIT
log() { echo "[$(date +%T)] $*" >&2; }

# --- What it needs -----------------------------------------------------------------------------

export DEBIAN_FRONTEND=noninteractive
installed() { dpkg-query -W -f '${Status}' "$1" 2>/dev/null | grep -q 'install ok installed'; }
APT_UPDATED=0
apt_update() {
    if [ $APT_UPDATED = 0 ]; then
        apt-get update -qq
        APT_UPDATED=1
    fi
}
# A package that conflicts with an installed one: its files unpacked into the work folder, its
# libraries installed.
unpack() {
    local package=$1 dir=$WORK/pkg-$1
    mkdir -p "$dir"
    if ! (cd "$dir" && apt-get download -q "$package" >/dev/null 2>&1); then
        apt_update
        (cd "$dir" && apt-get download -q "$package" >/dev/null)
    fi
    dpkg -x "$dir"/"${package}"_*.deb "$dir/root"
    local libraries
    libraries=$(dpkg-deb -f "$dir"/"${package}"_*.deb Depends | tr ',' '\n' |
        sed -n 's/^ *\(lib[^ ]*\).*/\1/p')
    for library in $libraries; do
        installed "$library" || { apt_update; apt-get install -y -qq "$library" >/dev/null; }
    done
    dpkg-deb -f "$dir"/"${package}"_*.deb Version
}

NEED=()
command -v cmake >/dev/null || NEED+=(cmake)
command -v ninja >/dev/null || NEED+=(ninja-build)
command -v g++ >/dev/null || NEED+=(g++)
command -v curl >/dev/null || NEED+=(curl)
if ! installed tftpd-hpa && ! installed atftpd; then
    NEED+=(tftpd-hpa)
fi
if [ ${#NEED[@]} -gt 0 ]; then
    log "installing ${NEED[*]}"
    apt_update
    apt-get install -y -qq "${NEED[@]}" >/dev/null
    # The service the package may have started is not wanted: the servers run in the foreground.
    if [[ " ${NEED[*]} " == *" tftpd-hpa "* ]]; then
        invoke-rc.d tftpd-hpa stop >/dev/null 2>&1 || true
    fi
fi
# tftpd-hpa and atftpd conflict as packages: whichever is not installed is unpacked.
if installed tftpd-hpa; then
    HPA=/usr/sbin/in.tftpd HPA_PACKAGE=$(dpkg-query -W -f '${Version}' tftpd-hpa)
else
    log "unpacking tftpd-hpa"
    HPA_PACKAGE=$(unpack tftpd-hpa) HPA=$WORK/pkg-tftpd-hpa/root/usr/sbin/in.tftpd
fi
if installed atftpd; then
    ATFTPD=/usr/sbin/atftpd ATFTPD_PACKAGE=$(dpkg-query -W -f '${Version}' atftpd)
else
    log "unpacking atftpd"
    ATFTPD_PACKAGE=$(unpack atftpd) ATFTPD=$WORK/pkg-atftpd/root/usr/sbin/atftpd
fi

log "building quaylond and tftp_load (Release) in $BUILD"
cmake -S "$ROOT" -B "$BUILD" -G Ninja -DCMAKE_BUILD_TYPE=Release -DQUAYLON_GUI=OFF \
    -DQUAYLON_TESTS=OFF -DQUAYLON_BENCH=ON >/dev/null
cmake --build "$BUILD" -j2 --target quaylond tftp_load >/dev/null
QUAYLOND=$BUILD/quaylond
LOAD=$BUILD/bench/tftp_load

# --- The servers -------------------------------------------------------------------------------

mkdir -p "$FILES"
BIG_NAME=$BIG.bin AGG_NAME=$AGG.bin SMALL_NAME=$SMALL.bin
for size in $BIG $AGG $SMALL; do
    "$LOAD" --make-file "$FILES/$size.bin" --size "$size"
done
chmod 644 "$FILES"/*

free_port() {
    local port
    for _ in $(seq 100); do
        port=$((20000 + RANDOM % 30000))
        if ! grep -qi ":$(printf '%04X' $port) " /proc/net/udp; then
            echo $port
            return
        fi
    done
    echo "compare.sh: no free UDP port found" >&2
    exit 1
}

# Each starts one server on 127.0.0.1:$PORT serving $FILES, in the foreground of a background
# job, and sets SERVER_PID to the server's own process.
start_quaylon() {
    local home=$WORK/home-quaylon
    mkdir -p "$home/config"
    # nSliders' low nibble 5 is the client-limit position "No limit" (ListenSocket's ClientLimit);
    # bDelete 0x70c keeps tsize and timeout on.
    printf '%s\n' 'Windows Registry Editor Version 5.00' '' \
        '[HKEY_CURRENT_USER\Software\Orrelin\Quaylon]' \
        '"bDelete"=dword:0000070c' '"nSliders"=dword:00000065' >"$home/config/registry.reg"
    # Its start and end lines go to /dev/null: the cheapest place they can go.
    (cd "$home" && exec "$QUAYLOND" --port "$PORT" --bind 127.0.0.1 -O"$FILES/" -I"$FILES/" \
        --config-dir "$home/config" >/dev/null 2>"$home/stderr") &
    SERVER_PID=$!
}
start_hpa() {
    # -L: the foreground; -s: chroot to the folder; -c: writes may create files; -p -u root: no
    # drop to a user that could not read or write the folder.
    "$HPA" -L -4 -a "127.0.0.1:$PORT" -s -c -p -u root -U 022 "$FILES" 2>"$WORK/hpa.stderr" &
    SERVER_PID=$!
}
start_atftpd() {
    # --maxthread 300: its default of 100 would turn the 256 sessions away.
    "$ATFTPD" --daemon --no-fork --port "$PORT" --bind-address 127.0.0.1 --user root.root \
        --maxthread 300 --logfile /dev/null "$FILES" 2>"$WORK/atftpd.stderr" &
    SERVER_PID=$!
}
start_responder() {
    "$LOAD" --respond --size "$BIG" --port "$PORT" --lifetime 7200 >/dev/null &
    SERVER_PID=$!
}
stop_server() {
    kill "$SERVER_PID" 2>/dev/null || true
    for _ in $(seq 50); do
        kill -0 "$SERVER_PID" 2>/dev/null || break
        sleep 0.1
    done
    kill -9 "$SERVER_PID" 2>/dev/null || true
    wait "$SERVER_PID" 2>/dev/null || true
    SERVER_PID=
}
# A small read that retries for ten seconds: the server is up once it answers.
wait_ready() {
    "$LOAD" --port "$PORT" --file "$SMALL_NAME" --local "$FILES/$SMALL_NAME" --retry-ms 100 \
        --retries 100 --deadline 15 >/dev/null
}

# --- Measuring ---------------------------------------------------------------------------------

RAW=$WORK/raw.log
TSV=$WORK/figures.tsv
LOADS=$WORK/loads.tsv
: >"$RAW"
: >"$TSV"
: >"$LOADS"

field() { sed -n "s/.* $2=\([^ ]*\).*/\1/p" <<<" $1"; }
record() { printf '%s\t%s\t%s\t%s\n' "$ROUND" "$SERVER" "$1" "$2" >>"$TSV"; }
# The share of the machine's CPU time that other work takes, over half a second between two
# figures, when the benchmark itself is idle: percent of all cores.
others_busy() {
    local before after
    before=$(head -1 /proc/stat)
    sleep 0.5
    after=$(head -1 /proc/stat)
    awk -v a="$before" -v b="$after" 'BEGIN {
        n = split(a, x, " "); split(b, y, " ")
        for (i = 2; i <= n; i++) { total += y[i] - x[i]; if (i == 5 || i == 6) idle += y[i] - x[i] }
        printf "%d", (total > 0 ? 100 * (total - idle) / total : 0) }'
}
# Before each figure: while other work takes more than a quarter of the machine, waits up to
# 30 s for it to pass, within a budget for the whole run; then notes the load and that share.
note_load() {
    local busy
    busy=$(others_busy)
    for _ in $(seq 30); do
        if [ "$busy" -le 25 ] || [ "$QUIET_BUDGET" -le 0 ]; then
            break
        fi
        sleep 0.5
        QUIET_BUDGET=$((QUIET_BUDGET - 1))
        busy=$(others_busy)
    done
    printf '%s\t%s\n' "$(cut -d' ' -f1 /proc/loadavg)" "$busy" >>"$LOADS"
}
# Runs the load client with the arguments against the server; its line, or nothing on failure.
load() {
    note_load
    local line status=0
    line=$("$LOAD" --port "$PORT" --watch "$SERVER_PID" --deadline $DEADLINE "$@") || status=$?
    printf '%s\t%s\t%s\n' "$SERVER" "$*" "$line" >>"$RAW"
    if [ $status != 0 ]; then
        log "  $SERVER failed: $* -> $line"
        return 1
    fi
    echo "$line"
}
per_gib() { awk -v cpu="$1" -v bytes="$2" 'BEGIN {printf "%.4f", cpu / (bytes / 1073741824)}'; }

measure() {
    local line blksize sessions count
    for blksize in $READ_SIZES; do
        if line=$(load --file "$BIG_NAME" --local "$FILES/$BIG_NAME" --blksize "$blksize" --tsize); then
            record "read-$blksize" "$(field "$line" mib_per_s)"
            if [ "$blksize" = $AGG_BLKSIZE ]; then
                record cpu-read "$(per_gib "$(field "$line" server_cpu_s)" "$(field "$line" bytes)")"
            fi
        else
            record "read-$blksize" FAIL
        fi
    done
    if [ "$SERVER" != responder ]; then
        for blksize in $WRITE_SIZES; do
            local name=up-$ROUND-$blksize.bin
            if line=$(load --op wrq --file "$name" --local "$FILES/$BIG_NAME" --blksize "$blksize" \
                --tsize) && cmp -s "$FILES/$name" "$FILES/$BIG_NAME"; then
                record "write-$blksize" "$(field "$line" mib_per_s)"
            else
                log "  $SERVER: the file written at blksize $blksize is not the one sent"
                record "write-$blksize" FAIL
            fi
            rm -f "$FILES/$name"
        done
    fi
    for sessions in $SESSIONS; do
        count=$((AGG_TOTAL / AGG / sessions))
        count=$((count < 1 ? 1 : count))
        if line=$(load --file "$AGG_NAME" --local "$FILES/$AGG_NAME" --blksize $AGG_BLKSIZE \
            --tsize --sessions "$sessions" --count $count); then
            record "agg-$sessions" "$(field "$line" mib_per_s)"
            if [ "$sessions" = 256 ]; then
                record cpu-256 "$(per_gib "$(field "$line" server_cpu_s)" "$(field "$line" bytes)")"
                record mem-256 "$(awk -v k="$(field "$line" server_hwm_kib)" 'BEGIN {printf "%.1f", k / 1024}')"
            fi
        else
            record "agg-$sessions" FAIL
        fi
    done
    if line=$(load --file "$SMALL_NAME" --local "$FILES/$SMALL_NAME" --count $LAT_COUNT); then
        record lat-p50 "$(field "$line" first_reply_ms_p50)"
        record lat-p99 "$(field "$line" first_reply_ms_p99)"
    else
        record lat-p50 FAIL
        record lat-p99 FAIL
    fi
    # The same single read with curl as the client, timed by curl itself.
    note_load
    local seconds
    if seconds=$(curl -sS --max-time $DEADLINE --tftp-blksize $AGG_BLKSIZE -o "$WORK/curl.bin" \
        -w '%{time_total}' "tftp://127.0.0.1:$PORT/$BIG_NAME") &&
        cmp -s "$WORK/curl.bin" "$FILES/$BIG_NAME"; then
        record curl-read "$(awk -v s="$seconds" -v b=$BIG 'BEGIN {printf "%.2f", b / 1048576 / s}')"
        printf '%s\tcurl\t%s s\n' "$SERVER" "$seconds" >>"$RAW"
    else
        log "  $SERVER: curl's read failed or differs"
        record curl-read FAIL
    fi
    rm -f "$WORK/curl.bin"
}

# The servers, the client and curl run at a higher priority than anything else on the machine,
# all alike, so that builds beside the benchmark disturb it less.
NICE=-10
renice -n $NICE -p $$ >/dev/null
SERVERS=(quaylon tftpd-hpa atftpd responder)
START_LOAD=$(cut -d' ' -f1-3 /proc/loadavg)
QUIET_START=$QUIET_BUDGET
STARTED=$(date +%s)
for ROUND in $(seq "$ROUNDS"); do
    for i in "${!SERVERS[@]}"; do
        # Each round starts with the next server, so no server always follows the same one.
        SERVER=${SERVERS[$(((i + ROUND - 1) % ${#SERVERS[@]}))]}
        PORT=$(free_port)
        log "round $ROUND/$ROUNDS: $SERVER on port $PORT"
        case $SERVER in
            quaylon) start_quaylon ;;
            tftpd-hpa) start_hpa ;;
            atftpd) start_atftpd ;;
            responder) start_responder ;;
        esac
        if wait_ready; then
            measure
        else
            log "  $SERVER did not answer on port $PORT"
        fi
        stop_server
    done
done
ELAPSED=$(($(date +%s) - STARTED))
WAITED=$((QUIET_START - QUIET_BUDGET))

# --- The report --------------------------------------------------------------------------------

# metric, server -> n, median, min, max, failures
SUMMARY=$WORK/summary.tsv
sort -t$'\t' -k3,3 -k2,2 -k4,4g "$TSV" | awk -F'\t' -v OFS='\t' '
    function flush() {
        if (key == "") return
        median = n == 0 ? "" : (n % 2 ? v[(n + 1) / 2] : (v[n / 2] + v[n / 2 + 1]) / 2)
        print metric, server, n, median, (n ? v[1] : ""), (n ? v[n] : ""), fails
    }
    {
        if ($3 "\t" $2 != key) { flush(); key = $3 "\t" $2; metric = $3; server = $2; n = 0; fails = 0 }
        if ($4 == "FAIL") fails++; else v[++n] = $4
    }
    END { flush() }' >"$SUMMARY"

get() { awk -F'\t' -v m="$1" -v s="$2" -v c="$3" '$1 == m && $2 == s {print $c}' "$SUMMARY"; }
fmt() {
    awk -v x="$1" 'BEGIN {
        if (x == "") { print "—"; exit }
        a = x < 0 ? -x : x
        printf (a >= 100 ? "%.0f" : a >= 10 ? "%.1f" : a >= 1 ? "%.2f" : "%.3f"), x }'
}
cell() {
    local n median fails
    n=$(get "$1" "$2" 3) median=$(get "$1" "$2" 4) fails=$(get "$1" "$2" 7)
    if [ -z "$n" ]; then
        echo "—"
    elif [ "$n" = 0 ]; then
        echo "failed"
    else
        local text
        text="$(fmt "$median") ($(fmt "$(get "$1" "$2" 5)")–$(fmt "$(get "$1" "$2" 6)"))"
        [ "${fails:-0}" = 0 ] || text="$text, $fails failed"
        echo "$text"
    fi
}
# Quaylon's median over the best peer's: the larger peer for "higher", the smaller otherwise.
ratio() {
    awk -v q="$(get "$1" quaylon 4)" -v h="$(get "$1" tftpd-hpa 4)" -v a="$(get "$1" atftpd 4)" \
        -v better="$2" 'BEGIN {
        best = h; if (best == "" || (a != "" && (better == "higher" ? a > best : a < best))) best = a
        if (q == "" || best == "" || best == 0) { print "—"; exit }
        printf "%.2f", q / best }'
}

ROWS=(
    "read-512|Read, one transfer, blksize 512|MiB/s|higher"
    "read-1468|Read, one transfer, blksize 1468|MiB/s|higher"
    "read-8192|Read, one transfer, blksize 8192|MiB/s|higher"
    "read-65464|Read, one transfer, blksize 65464|MiB/s|higher"
    "write-512|Write, one transfer, blksize 512|MiB/s|higher"
    "write-1468|Write, one transfer, blksize 1468|MiB/s|higher"
    "agg-1|Read, 1 session|MiB/s|higher"
    "agg-8|Read, 8 sessions at once|MiB/s|higher"
    "agg-64|Read, 64 sessions at once|MiB/s|higher"
    "agg-256|Read, 256 sessions at once|MiB/s|higher"
    "lat-p50|RRQ to first DATA, median|ms|lower"
    "lat-p99|RRQ to first DATA, 99th percentile|ms|lower"
    "cpu-read|Server CPU, one read at blksize 1468|s/GiB|lower"
    "cpu-256|Server CPU, 256 sessions|s/GiB|lower"
    "mem-256|Server peak resident memory, 256 sessions|MiB|lower"
    "curl-read|curl read, blksize 1468 (cross-check)|MiB/s|higher"
)

human() { awk -v b="$1" 'BEGIN {printf (b >= 1048576 ? "%g MiB" : "%g KiB"), (b >= 1048576 ? b / 1048576 : b / 1024)}'; }
CPU_MODEL=$(sed -n 's/^model name[[:space:]]*: //p' /proc/cpuinfo | head -1)
MEMORY=$(awk '/MemTotal/ {printf "%.1f GiB", $2 / 1048576}' /proc/meminfo)
LOAD_SUMMARY=$(awk -F'\t' '{print $2}' "$LOADS" | sort -g | awk '{b[NR] = $1; if ($1 > 25) busy++}
    END { printf "Other work took a median %d%% (largest %d%%) of the machine'"'"'s CPU time just " \
        "before a figure, more than 25%% before %d of %d figures", b[int((NR + 1) / 2)], b[NR], busy, NR }')
BUSY=$(awk -F'\t' '$2 > 25' "$LOADS" | wc -l)
RETRANSMITS=$(awk -F'\t' '$3 ~ / retransmits=/ {r = $3; sub(/.* retransmits=/, "", r); sub(/ .*/, "", r); t[$1] += r}
    END {for (s in t) printf "%s %d, ", s, t[s]}' "$RAW" | sed 's/, $//')
COMMIT=$(git -C "$ROOT" rev-parse --short HEAD 2>/dev/null || echo unknown)
if [ -n "$(git -C "$ROOT" status --porcelain -- . ':!bench' 2>/dev/null)" ]; then
    COMMIT="$COMMIT with uncommitted changes"
fi

{
    echo "# Quaylon against tftpd-hpa and atftpd"
    echo
    echo "Written by \`bench/compare.sh$([ $QUICK = 1 ] && echo ' --quick')\` on $(date -u '+%Y-%m-%d %H:%M UTC'), $ROUNDS round(s), $((ELAPSED / 60)) min."
    echo "Each cell is the median over the rounds, with the smallest and largest figure in brackets."
    echo "The ratio is Quaylon's median over the best peer's: above 1 is better for MiB/s, worse"
    echo "for ms, CPU and memory. The last column is the same load client against its own trivial"
    echo "responder (octet reads from memory), the most this client and this machine move."
    echo
    echo "| Figure | Unit | Quaylon | tftpd-hpa | atftpd | Quaylon / best peer | Load client vs own responder |"
    echo "|---|---|---|---|---|---|---|"
    for row in "${ROWS[@]}"; do
        IFS='|' read -r metric label unit better <<<"$row"
        echo "| $label | $unit | $(cell "$metric" quaylon) | $(cell "$metric" tftpd-hpa) | $(cell "$metric" atftpd) | $(ratio "$metric" "$better") | $(cell "$metric" responder) |"
    done
    echo
    echo "## Machine"
    echo
    echo "- $(nproc) cores, $CPU_MODEL, $MEMORY, kernel $(uname -r)"
    echo "- Servers, load client and curl ran at nice $NICE, above other work on the machine."
    echo "- Load average at the start: $START_LOAD. $LOAD_SUMMARY; a figure waited up to 30 s for such work to pass, $WAITED s in all."
    if [ "$BUSY" -gt 0 ]; then
        echo "- **The machine was loaded**: other work (builds and tests of the project) shared its $(nproc) cores during part of the run, so single figures scatter; the medians over the rounds damp that."
    fi
    echo
    echo "## Versions"
    echo
    echo "- Quaylon: $("$QUAYLOND" --version | head -1), commit $COMMIT, built Release"
    echo "- tftpd-hpa: $("$HPA" -V 2>&1 | head -1) (Debian package $HPA_PACKAGE)"
    echo "- atftpd: $("$ATFTPD" --version 2>&1 | head -1) (Debian package $ATFTPD_PACKAGE)"
    echo "- curl: $(curl --version | head -1 | cut -d' ' -f1-2)"
    echo "- Load client: \`bench/tftp_load\` of the same commit"
    echo
    echo "## How"
    echo
    echo "- Every server serves one folder on $(df -P "$WORK" | awk 'NR == 2 {print $1}') from 127.0.0.1 and a port of its own, started for its turn and stopped after it: in each round every server in turn, the first one changing from round to round."
    echo "- quaylond: \`--port P --bind 127.0.0.1 -ODIR/ -IDIR/ --config-dir CFG\`, whose registry.reg sets the client limit to No limit (\`nSliders\` 0x65) and tsize and timeout on (\`bDelete\` 0x70c); its status lines go to /dev/null."
    echo "- tftpd-hpa: \`in.tftpd -L -4 -a 127.0.0.1:P -s -c -p -u root -U 022 DIR\`; it forks a child per transfer."
    echo "- atftpd: \`atftpd --daemon --no-fork --port P --bind-address 127.0.0.1 --user root.root --maxthread 300 --logfile /dev/null DIR\`; one thread per transfer."
    echo "- The load client (\`bench/tftp_load\`, one process, epoll, one UDP socket per transfer) checks every byte read against the file and the script compares every written file with its source. Reads ask for \`blksize\` and \`tsize\`; the latency reads ask for no option."
    echo "- Single transfers: a $(human $BIG) file. Sessions: each session reads a $(human $AGG) file at blksize $AGG_BLKSIZE over and over, at least $(human $AGG_TOTAL) in all; the figure is all bytes over the wall time. Latency: $LAT_COUNT reads of $SMALL bytes one after another."
    echo "- Server CPU: user and system time of the server's live processes (threads included) from /proc/PID/stat before and after, plus that of each child that ended meanwhile, from the kernel's taskstats report of its end (tftpd-hpa leaves its children to the kernel to reap, so their time never reaches its own cutime); over the bytes served. Memory: the largest sum of VmHWM over the server and its live children, sampled every 100 ms during the 256-session figure after the peaks were reset through clear_refs. The responder's memory is mostly the $(human $BIG) it serves from."
    if grep -q 'server_ends=untracked' "$RAW"; then
        echo "- taskstats could not be had here: the CPU time of children counts only where their parent waited for them."
    fi
    echo "- Retransmissions by the load client, all figures and rounds: ${RETRANSMITS:-none}."
    echo
    echo "<details><summary>Every load client line</summary>"
    echo
    echo '```'
    cat "$RAW"
    echo '```'
    echo
    echo "</details>"
} >"$OUTPUT"
log "wrote $OUTPUT"
if [ $QUICK = 1 ]; then
    cat "$OUTPUT"
fi
