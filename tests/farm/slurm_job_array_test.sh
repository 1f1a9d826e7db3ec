#!/usr/bin/env bash
# The README's job-array recipe (tools/farm/render_chunk.sh) on a real Slurm cluster of one node:
# this machine runs munged, slurmctld and slurmd on localhost, as root, without cgroups. A shot
# whose length is no multiple of the chunk is submitted as a job array; one task is killed part
# way through and requeued. When every task has finished, every frame must exist once, with no
# temporary file beside it, and equal a one-process render of the shot byte for byte; the logs
# must show one progress line per rendered frame.
#
#   tests/farm/slurm_job_array_test.sh [BUILD_DIR]     (default build/linux; needs root, slurm-wlm, munge)
#
# The daemons it starts are stopped on every exit, failures included; their logs are printed
# when it fails. KEEP_FARM_TEST=1 keeps the work folder.
set -euo pipefail

ROOT=$(cd "$(dirname "$0")/../.." && pwd)
BUILD=$(cd "${1:-$ROOT/build/linux}" && pwd)
RECIPE=$ROOT/tools/farm/render_chunk.sh
FRAMES=20   # the shot's length ...
CHUNK=8     # ... in chunks of 8: tasks 0-7, 8-15 and 16-23, the last one cut at frame 19
VICTIM=1    # the task killed part way through

say() { echo "farm test: $*"; }
die() {
    echo "farm test: FAILED: $*" >&2
    exit 1
}

# Polls COMMAND every 0.2 s until it succeeds; gives up (returning 1) after SECONDS.
wait_for() {
    local seconds=$1
    shift
    local deadline=$((SECONDS + seconds))
    until "$@"; do
        ((SECONDS < deadline)) || return 1
        sleep 0.2
    done
}

[[ $(id -u) -eq 0 ]] || die "must run as root (slurmd runs jobs as their user and needs root for that)"
for tool in munged mungekey slurmctld slurmd sbatch squeue scontrol; do
    command -v "$tool" >/dev/null || die "$tool is missing: apt-get install slurm-wlm munge"
done
[[ -x $BUILD/orbulon-render ]] || die "no $BUILD/orbulon-render: build first"

# The recipe the README shows must be the one submitted here.
python3 - "$RECIPE" "$ROOT/README.md" <<'PY' || die "README.md does not show $RECIPE as it is"
import sys
recipe, readme = (open(p).read() for p in sys.argv[1:3])
sys.exit(0 if "```sh\n" + recipe + "```\n" in readme else 1)
PY

WORK=$(mktemp -d /tmp/orbulon-farm.XXXXXX)
chmod 755 "$WORK"   # munged wants its socket's folder open to every user
mkdir -m 700 "$WORK/munge"
mkdir "$WORK/state" "$WORK/spool" "$WORK/bin" "$WORK/shot" "$WORK/one"
export SLURM_CONF=$WORK/slurm.conf
PIDS=()
JOB=""

# On every exit: cancel the job, stop the daemons (and any job step they left), show the logs if
# the test failed, remove the work folder.
cleanup() {
    local status=$?
    set +e
    if [[ -n $JOB ]]; then
        timeout 10 scancel "$JOB" 2>/dev/null
        wait_for 20 no_jobs_left || say "tasks of job $JOB were still listed when the cluster stopped"
    fi
    # What the jobs left running (job steps, renders) carries this test's SLURM_CONF in its
    # environment, as the daemons do.
    local pid environ
    for environ in /proc/[0-9]*/environ; do
        pid=${environ#/proc/}
        pid=${pid%/environ}
        [[ $pid == "$$" || $pid == "$BASHPID" || " ${PIDS[*]} " == *" $pid "* ]] && continue
        if { tr '\0' '\n' <"$environ"; } 2>/dev/null | grep -qxF "SLURM_CONF=$SLURM_CONF"; then
            kill -KILL "$pid" 2>/dev/null
        fi
    done
    # Last started, first stopped: slurmd, slurmctld, munged.
    for ((i = ${#PIDS[@]} - 1; i >= 0; i--)); do
        pid=${PIDS[i]}
        kill -TERM "$pid" 2>/dev/null || continue
        for _ in $(seq 50); do
            kill -0 "$pid" 2>/dev/null || break
            sleep 0.1
        done
        kill -KILL "$pid" 2>/dev/null
        wait "$pid" 2>/dev/null
    done
    if ((status != 0)); then
        local log
        for log in "$WORK"/slurmctld.log "$WORK"/slurmd.log "$WORK"/munge/munged.log "$WORK"/*.out "$WORK"/shot/*.log; do
            [[ -f $log ]] || continue
            echo "----- $log (last 60 lines)" >&2
            tail -n 60 "$log" >&2
        done
        echo "----- $WORK/shot:" >&2
        ls -la "$WORK/shot" >&2
    fi
    if [[ -n ${KEEP_FARM_TEST:-} ]]; then
        say "work folder kept: $WORK"
    else
        rm -rf "$WORK"
    fi
    exit "$status"
}
trap cleanup EXIT
trap 'exit 130' INT
trap 'exit 143' TERM
trap 'exit 129' HUP

no_jobs_left() { [[ -z $(timeout 10 squeue -h -j "$JOB" -o %i 2>/dev/null) ]]; }

# A port nothing listens on, from a range away from the usual services.
free_port() {
    local port
    for _ in $(seq 100); do
        port=$((20000 + RANDOM % 20000))
        if ! (echo >"/dev/tcp/127.0.0.1/$port") 2>/dev/null; then
            echo "$port"
            return
        fi
    done
    die "no free port found"
}


mungekey --create --keyfile="$WORK/munge/munge.key"
munged --foreground --socket="$WORK/munge.socket" --key-file="$WORK/munge/munge.key" \
    --pid-file="$WORK/munge/munged.pid" --log-file="$WORK/munge/munged.log" \
    --seed-file="$WORK/munge/munged.seed" >"$WORK/munged.out" 2>&1 &
PIDS+=($!)
wait_for 20 test -S "$WORK/munge.socket" || die "munged did not start"

# The node as slurmd sees this machine ("NodeName=HOST CPUs=... RealMemory=...").
node=$(slurmd -C | head -n 1)
host=$(sed -n 's/^NodeName=\([^ ]*\).*/\1/p' <<<"$node")
[[ -n $host ]] || die "slurmd -C printed no node: $node"
ctld_port=$(free_port)
node_port=$(free_port)
while [[ $node_port == "$ctld_port" ]]; do node_port=$(free_port); done
cat >"$SLURM_CONF" <<EOF
ClusterName=orbulon-farm-test
SlurmctldHost=$host(127.0.0.1)
SlurmctldPort=$ctld_port
SlurmdPort=$node_port
SlurmUser=root
SlurmdUser=root
AuthType=auth/munge
CredType=cred/munge
AuthInfo=socket=$WORK/munge.socket
StateSaveLocation=$WORK/state
SlurmdSpoolDir=$WORK/spool
SlurmctldPidFile=$WORK/slurmctld.pid
SlurmdPidFile=$WORK/slurmd.pid
SlurmctldLogFile=$WORK/slurmctld.log
SlurmdLogFile=$WORK/slurmd.log
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
JobAcctGatherType=jobacct_gather/none
AccountingStorageType=accounting_storage/none
JobCompType=jobcomp/none
SchedulerType=sched/builtin
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
MpiDefault=none
ReturnToService=2
KillWait=5
MinJobAge=600
$node NodeAddr=127.0.0.1 State=UNKNOWN
PartitionName=farm Nodes=ALL Default=YES MaxTime=INFINITE State=UP
EOF
slurmctld -D -i -f "$SLURM_CONF" >"$WORK/slurmctld.out" 2>&1 &
PIDS+=($!)
wait_for 30 timeout 5 scontrol ping >/dev/null 2>&1 || die "slurmctld did not answer"
slurmd -D -f "$SLURM_CONF" >"$WORK/slurmd.out" 2>&1 &
PIDS+=($!)
node_idle() { [[ $(timeout 5 sinfo -h -n "$host" -o %t 2>/dev/null) == idle ]]; }
wait_for 60 node_idle || die "the node did not come up idle: $(sinfo 2>&1)"
say "one-node cluster up ($host, ports $ctld_port and $node_port)"


# scenes/basic.json made 20 frames long and heavier per frame (1280×720 and a large
# sphere), so that a task is still rendering when it is killed.
cat >"$WORK/shot.json" <<EOF
{
  "composition": { "width": 1280, "height": 720, "pixelAspect": 1, "frameRate": 25, "duration": $(awk -v f=$FRAMES 'BEGIN { print f / 25 }') },
  "layers": [
    { "name": "Sphere", "type": "solid", "color": [0.05, 0.05, 0.1, 1] },
    { "name": "UV Grid", "type": "image", "file": "$ROOT/scenes/textures/grid.pam" }
  ],
  "effect": {
    "layer": "Sphere",
    "params": {
      "Texture": "UV Grid",
      "Radius": 330,
      "Position XY": [640, 360],
      "Rotation Z": { "keys": [[0, -90], [0.8, 270]] },
      "Specular": 30,
      "Use Composition Camera": false
    }
  },
  "render": { "bitDepth": 8, "frames": [0, $((FRAMES - 1))] }
}
EOF
ln -s "$BUILD/orbulon-render" "$WORK/bin/orbulon-render"
ln -s "$BUILD/Orbulon.so" "$WORK/bin/Orbulon.so"
ln -s "$BUILD/Orbulon.pipl" "$WORK/bin/Orbulon.pipl"
export PATH=$WORK/bin:$PATH


tasks=$(((FRAMES + CHUNK - 1) / CHUNK))
cd "$WORK/shot"
JOB=$(timeout 30 sbatch --parsable --array="0-$((tasks - 1))" "$RECIPE" "$WORK/shot.json" "$WORK/shot/f_####.png" "$CHUNK")
JOB=${JOB%%;*}
say "submitted job $JOB: tasks 0-$((tasks - 1)), $FRAMES frames in chunks of $CHUNK"

# Kill the victim once it has finished its first frame and before its last: requeue sends it
# SIGTERM and puts it back in the queue.
victim_first=$((VICTIM * CHUNK))
victim_last=$((victim_first + CHUNK - 1))
frame_name() { printf '%s/f_%04d.png' "$WORK/shot" "$1"; }
job_state() { timeout 10 scontrol -o show job "${JOB}_$1" 2>/dev/null; }
victim_rendered_or_ended() {
    [[ -e $(frame_name "$victim_first") ||
        $(job_state "$VICTIM") =~ \ JobState=(COMPLETED|FAILED|CANCELLED|TIMEOUT|NODE_FAIL|OUT_OF_MEMORY)\  ]]
}
wait_for 240 victim_rendered_or_ended || die "task $VICTIM finished no frame in 240 s"
[[ -e $(frame_name "$victim_first") ]] || die "task $VICTIM ended without a frame: $(job_state "$VICTIM")"
timeout 10 scontrol requeue "${JOB}_$VICTIM" || die "scontrol requeue ${JOB}_$VICTIM failed"
done_at_kill=0
for ((f = victim_first; f <= victim_last; f++)); do
    if [[ -e $(frame_name "$f") ]]; then ((++done_at_kill)); fi
done
say "task $VICTIM requeued with $done_at_kill of its $CHUNK frames done"
# A requeued job waits a while before it may start again; once it is back in the queue, it may
# start now.
requeue_now() {
    [[ $(job_state "$VICTIM") == *" JobState=PENDING "* ]] &&
        timeout 10 scontrol update JobId="${JOB}_$VICTIM" StartTime=now >/dev/null 2>&1
}
wait_for 60 requeue_now || die "task $VICTIM could not be released after its requeue"

wait_for 400 no_jobs_left || die "the job array did not finish in 400 s"
for ((t = 0; t < tasks; t++)); do
    state=$(job_state "$t")
    [[ $state == *" JobState=COMPLETED "* && $state == *" ExitCode=0:0 "* ]] || die "task $t ended as: $state"
done
say "every task completed"


orbulon-render "$WORK/shot.json" -q -o "$WORK/one/f_####.png"
expected=$(cd "$WORK/one" && ls -A)
[[ $(wc -l <<<"$expected") -eq $FRAMES ]] || die "the one-process render wrote $(wc -l <<<"$expected") files"
rendered=$(cd "$WORK/shot" && ls -A | grep -v '\.log$')
[[ $rendered == "$expected" ]] || die "the job array's frames differ from one run's:
$(diff <(echo "$expected") <(echo "$rendered"))"
for name in $expected; do
    cmp -s "$WORK/one/$name" "$WORK/shot/$name" || die "$name differs from the one-process render"
done
say "$FRAMES frames, each once, each equal to one process's render"

log() { cat "$WORK/shot/orbulon_${JOB}_$1.log"; }
grep -q "terminated (SIGTERM)" <(log "$VICTIM") || die "task $VICTIM's log shows no termination"
((done_at_kill < CHUNK)) || die "task $VICTIM had finished all its frames before it was killed"
lines=$(cat "$WORK"/shot/*.log | grep -c '^orbulon-render: progress frame=[0-9]* .* status=rendered ' || true)
# Every frame rendered once, but the victim's frame that SIGTERM cut short rendered no line.
((lines == FRAMES)) || die "$lines progress lines of rendered frames in the logs, not $FRAMES"
grep -q "status=skipped" <(log "$VICTIM") || die "the requeued task skipped no frame"
grep -q "runs past the end" <(log $((tasks - 1))) || die "the last task's log has no note of its cut"
say "logs: one progress line per rendered frame, the requeued task skipped what was done"
say "passed"
