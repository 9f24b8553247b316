"""kestrel-batch on several machines, each made of namespaces of this one: cluster.py <build folder> [videos]

Root only. Three hosts with a real sshd are worked by GNU parallel, with a shared folder and without one, and a Slurm with
two nodes does the same videos. Meanwhile a host is cut off, an ffmpeg is killed, and what hands out the jobs is killed and
started again. The clips are compared with those of one machine; docs/cluster.md tells what happened.
"""

import collections
import contextlib
import json
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time

CLIPS = 20
HOSTS = 3
PORT = 2222


def expect(holds, what):
    if not holds:
        raise SystemExit(f"cluster: {what}")


def run(*words, **more):
    return subprocess.run([str(word) for word in words], check=True, **more)


def output(*words, **more):
    return run(*words, stdout=subprocess.PIPE, **more).stdout


def wait_until(condition, what, seconds=600, pause=0.02):
    deadline = time.monotonic() + seconds
    while not condition():
        expect(time.monotonic() < deadline, f"waited in vain: {what}")
        time.sleep(pause)


def end(process):
    with contextlib.suppress(ProcessLookupError):
        process.kill()
    process.wait()


def make_lists(folder, number):
    """Videos of twenty scenes, and their lists."""
    lists = []
    for video_number in range(number):
        video = folder / f"film {video_number}.mp4"
        run("ffmpeg", "-v", "error", "-f", "lavfi", "-i", f"testsrc=s=320x180:r=25:d={CLIPS}", "-vf",
            f"hue=h={video_number * 17}", "-preset", "ultrafast", video)
        lists.append(folder / f"film {video_number}.kestrel.json")
        segments = [{"index": i, "start": i, "end": i + 0.92, "duration": 0.92} for i in range(CLIPS)]
        lists[-1].write_text(json.dumps({"video": str(video), "fps": 25, "duration": CLIPS, "aggressive": True,
                                         "events": [], "keep_segments": segments}))
    return lists


class Machines(contextlib.ExitStack):
    """What makes machines in set_up() is undone at the end, also when that fails in the middle."""

    def __enter__(self):
        try:
            self.set_up()
        except BaseException:
            self.close()
            raise
        return super().__enter__()


class Clips:
    """A folder of clips and what its journal tells."""

    def __init__(self, program, folder):
        self._program, self.folder = program, folder

    def ends(self):
        """How often each clip was written completely, as far as nobody has made a document of the journal."""
        counts = collections.Counter()
        journal = self.folder / ".kestrel-batch.journal"
        for line in journal.read_bytes().split(b"\n") if journal.exists() else []:
            if b'"clip":' in line and line.endswith(b"}"):
                entry = json.loads(line)
                counts[entry["folder"], entry["clip"]["output"]] += entry["clip"]["state"] == "completed"
        return counts

    def done(self):
        return sum(count > 0 for count in self.ends().values())

    def kill_an_ffmpeg(self):
        words = ["pgrep", "-f", f"^/usr/bin/ffmpeg .*{self.folder}"]
        victims = []
        while not victims:
            victims = subprocess.run(words, stdout=subprocess.PIPE, check=False).stdout.split()
        with contextlib.suppress(ProcessLookupError):
            os.kill(int(victims[0]), signal.SIGKILL)

    def require_status(self, expected):
        status = json.loads(subprocess.run([self._program, "status", "--json", self.folder],
                                           stdout=subprocess.PIPE, check=False).stdout)
        expect(status["completed"] == expected and not status["clips"], f"complete: {status}")
        begun = list(self.folder.glob(".unfinished/*"))
        expect(not begun, f"left behind: {begun}")

    def compare(self, reference, expected):
        """Every clip is there once with the same pictures; how many are the same byte by byte."""
        names = sorted(path.relative_to(self.folder) for path in self.folder.glob("*/*"))
        expect(len(names) == expected, f"{len(names)} clips of {expected}")
        equal = 0
        for name in names:
            if (self.folder / name).read_bytes() == (reference / name).read_bytes():
                equal += 1
                continue
            hashes = [output("ffmpeg", "-v", "error", "-i", place / name, "-f", "framemd5", "-")
                      for place in (self.folder, reference)]
            expect(hashes[0] == hashes[1], f"{name} has other pictures")
        return equal


class Hosts(Machines):
    """Named kestrel1, kestrel2, ..., reached over a bridge. Each has a home folder of its own; what else is on the disk
    they share, but for a folder that is hidden from them."""

    def __init__(self, build_folder, place, hidden="/mnt"):
        super().__init__()
        self._build_folder, self._place, self._hidden = build_folder, place, hidden
        self.ssh_config = place / "ssh_config"

    def set_up(self):
        place = self._place
        place.mkdir()
        run("ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", place / "key")
        run("ip", "link", "add", "kestrelbr", "type", "bridge")
        self.callback(run, "ip", "link", "del", "kestrelbr")
        run("ip", "address", "add", "10.77.0.1/24", "dev", "kestrelbr")
        run("ip", "link", "set", "kestrelbr", "up")
        os.makedirs("/run/sshd", exist_ok=True)
        config = ""
        for number in range(1, HOSTS + 1):
            self._add(f"kestrel{number}", f"10.77.0.{number + 1}")
            config += f"Host kestrel{number}\n  HostName 10.77.0.{number + 1}\n"
        config += (f"Host *\n  Port {PORT}\n  User root\n  IdentityFile {place}/key\n  StrictHostKeyChecking no\n"
                   f"  UserKnownHostsFile /dev/null\n  LogLevel ERROR\n  ConnectTimeout 3\n"
                   f"  ServerAliveInterval 1\n  ServerAliveCountMax 3\n")
        self.ssh_config.write_text(config)
        for number in range(1, HOSTS + 1):
            words = ["ssh", "-F", self.ssh_config, f"kestrel{number}", "true"]
            wait_until(lambda words=words: subprocess.run(words, check=False).returncode == 0, "a host answers", 30)

    def _add(self, name, address):
        run("ip", "netns", "add", name)
        self.callback(run, "ip", "netns", "del", name)
        run("ip", "link", "add", name, "type", "veth", "peer", "name", "eth0", "netns", name)
        self.callback(run, "ip", "link", "del", name)
        run("ip", "link", "set", name, "master", "kestrelbr", "up")
        for words in (["address", "add", f"{address}/24", "dev", "eth0"], ["link", "set", "eth0", "up"],
                      ["link", "set", "lo", "up"]):
            run("ip", "-n", name, *words)
        daemon = subprocess.Popen(
            ["ip", "netns", "exec", name, "unshare", "--mount", "--pid", "--uts", "--fork", "--kill-child",
             "--mount-proc", "sh", "-c",
             f"hostname {name}; mount -t tmpfs home /root; mount -t tmpfs none {self._hidden}; "
             f"exec /usr/sbin/sshd -D -e -f /dev/null -h {self._place}/key "
             f"-p {PORT} -o AuthorizedKeysFile={self._place}/key.pub -o StrictModes=no -o PermitRootLogin=yes "
             f"-o PidFile=none -o SetEnv=PATH={self._build_folder}/bin:/usr/bin:/bin"],
            stderr=(self._place / f"{name}.log").open("wb"))
        self.callback(end, daemon)

    def cut_off(self, name):
        run("ip", "link", "set", name, "down")

    def parallel(self, lanes, joblog, events, *words, folder=None):
        """In words as a user has them. parallel quotes names for the far shell itself, which rsync must be told."""
        return subprocess.Popen(
            ["parallel", "--will-cite", "-0", *(f"--sshlogin={lanes}/kestrel{n}" for n in range(1, HOSTS + 1)), "--ssh",
             f"ssh -F {self.ssh_config}", "--joblog", str(joblog), "--resume-failed", "--retries", "2", "--termseq",
             "TERM,4000,KILL,25", *map(str, words)],
            stdin=subprocess.DEVNULL, stdout=events.open("ab"), stderr=subprocess.DEVNULL, cwd=folder,
            env=dict(os.environ, RSYNC_OLD_ARGS="1"))


def states_in(events):
    """How many of each; a line that was cut off when its writer was killed counts for nothing."""
    counts = collections.Counter()
    for line in events.read_bytes().split(b"\n"):
        with contextlib.suppress(ValueError):
            counts[json.loads(line)["state"]] += 1
    return counts


def with_parallel(build_folder, scratch, lists):
    program = build_folder / "bin" / "kestrel-batch"
    clips = Clips(program, scratch / "parallel")
    plan, joblog, events = scratch / "jobs", scratch / "joblog", scratch / "events"
    plan.write_bytes(output(program, "plan", "-0", "-o", clips.folder, *lists))
    jobs = plan.read_bytes().count(b"\0")
    told = []
    with Hosts(build_folder, scratch / "hosts") as hosts:
        first = hosts.parallel(2, joblog, events, "-a", plan)
        wait_until(lambda: clips.done() > jobs / 4, "a quarter")
        hosts.cut_off("kestrel1")
        told.append(f"host 1 cut off after {clips.done()} clips")
        wait_until(lambda: clips.done() > jobs / 2, "a half")
        clips.kill_an_ffmpeg()
        told.append(f"an ffmpeg killed after {clips.done()}")
        wait_until(lambda: clips.done() > jobs * 3 / 4, "three quarters")
        first.kill()
        first.wait()
        told.append(f"parallel killed after {clips.done()} and started again")
        status = hosts.parallel(2, joblog, events, "-a", plan).wait()
        expect(status == 0, f"parallel ended with {status}")
    clips.require_status(jobs)
    twice = sum(count > 1 for count in clips.ends().values())
    return (f"GNU parallel, {HOSTS} hosts, shared folder", "; ".join(told), jobs, clips.compare(scratch / "reference", jobs),
            twice, states_in(events)["present"])


def without_shared_folder(build_folder, scratch, lists):
    """The hosts are sent a video and its list, and send back its clips with what is known of them, by which the receiver
    tells what to ask for again: parallel takes no notice when nothing comes back."""
    program = build_folder / "bin" / "kestrel-batch"
    films = scratch / "films"
    names = [path.name.removesuffix(".kestrel.json") for path in lists]
    told = []

    def missing():
        return [name for name in names if subprocess.run([program, "status", films / "clips" / name], check=False,
                                                         stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode]

    with Hosts(build_folder, scratch / "hosts2", films) as hosts:
        passes = 0
        while left := missing():
            passes += 1
            expect(passes < 4, f"{left} never came back")
            (scratch / "names").write_bytes(b"".join(os.fsencode(name) + b"\0" for name in left))
            process = hosts.parallel(1, scratch / f"joblog2.{passes}", scratch / "events2", "--transferfile", "{}.mp4",
                                     "--transferfile", "{}.kestrel.json", "--return", "clips/{}", "--cleanup", "-a",
                                     scratch / "names", "kestrel-batch cut -q -j2 {}.kestrel.json -o clips/{}", folder=films)
            if passes == 1:
                wait_until(lambda p=process: p.poll() is not None or len(missing()) < len(names) * 2 / 3, "a third")
                hosts.cut_off("kestrel1")
                told.append(f"host 1 cut off after {len(names) - len(missing())} videos")
            process.wait()
        told.append(f"passes until nothing was missing: {passes}")
    jobs = CLIPS * len(lists)
    clips = scratch / "no shared folder"
    clips.mkdir()
    for name in names:
        (films / "clips" / name / name).rename(clips / name)
    return (f"GNU parallel, {HOSTS} hosts, no shared folder", "; ".join(told), jobs,
            Clips(program, clips).compare(scratch / "reference", jobs), "not counted", "not counted")


SLURM_CONF = """
ClusterName=kestrel
SlurmctldHost={host}(127.0.0.1)
AuthType=auth/munge
AuthInfo=socket={place}/munge.socket
SlurmUser=root
SlurmdUser=root
StateSaveLocation={place}
SlurmdSpoolDir={place}/spool.%n
SlurmctldPidFile={place}/slurmctld.pid
SlurmdPidFile={place}/slurmd.%n.pid
SlurmctldPort=17000
SlurmdTimeout=10
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
MpiDefault=none
ReturnToService=2
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
NodeName=one NodeHostname={host} NodeAddr=127.0.0.1 Port=17001 CPUs=2
NodeName=two NodeHostname={host} NodeAddr=127.0.0.1 Port=17002 CPUs=2
PartitionName=all Nodes=ALL Default=YES State=UP
"""


class Slurm(Machines):
    """Its controller and two nodes."""

    def __init__(self, build_folder, place):
        super().__init__()
        self._place = place
        self._daemons = {}
        self.environment = dict(os.environ, SLURM_CONF=str(place / "slurm.conf"),
                                PATH=f"{build_folder}/bin:{os.environ['PATH']}")

    def set_up(self):
        place = self._place
        place.mkdir(mode=0o755)
        (place / "key").write_bytes(os.urandom(128))
        (place / "key").chmod(0o600)
        (place / "slurm.conf").write_text(SLURM_CONF.format(host=os.uname().nodename, place=place))
        self.start("munged", "--foreground", f"--key-file={place}/key", f"--socket={place}/munge.socket",
                   f"--pid-file={place}/munge.pid", f"--seed-file={place}/munge.seed", f"--log-file={place}/munge.log")
        wait_until((place / "munge.socket").exists, "munge answers", 30)
        self.start("slurmctld", "-D")
        for node in ("one", "two"):
            self.start("slurmd", "-D", "-N", node)
        wait_until(lambda: self.ask("sinfo", "-h", "-t", "idle", "-o", "%D") == b"2", "both nodes are idle", 60)

    def start(self, *words):
        log = (self._place / f"{words[0]}.{words[-1].strip('-/').replace('/', '_')}.out").open("ab")
        process = subprocess.Popen(words, env=self.environment, stdout=log, stderr=log)
        self.callback(end, process)
        self._daemons[words[0], words[-1]] = process

    def kill(self, *name):
        end(self._daemons[name])

    def ask(self, *words):
        return subprocess.run(words, env=self.environment, check=False, stdout=subprocess.PIPE).stdout.strip()

    def submit(self, tasks, folder):
        run("sbatch", f"--array=1-{tasks}", "--requeue", "--output=events3", "--open-mode=append", "--wrap",
            'sed -zn "$SLURM_ARRAY_TASK_ID~${SLURM_ARRAY_TASK_COUNT}p" jobs3 | xargs -0 -r -n1 sh -c',
            env=self.environment, cwd=folder, stdout=subprocess.DEVNULL)

    def wait_for_all(self):
        """A lost node's jobs are asked to wait for two minutes. A controller that was killed does not know the jobs of its
        last seconds and closes the node on which they run; an administrator opens it again."""
        opened = 0
        while self.ask("squeue", "-h"):
            if self.ask("sinfo", "-h", "-N", "-n", "one", "-t", "drain", "-o", "%N"):
                opened += 1
                expect(opened < 10, "node 1 stays open")
                self.ask("scontrol", "update", "NodeName=one", "State=RESUME")
                for job in self.ask("squeue", "-h", "-r", "-t", "PD", "-o", "%A").split():
                    self.ask("scontrol", "release", job)
            time.sleep(1)
        return opened


def with_slurm(build_folder, scratch, lists):
    program = build_folder / "bin" / "kestrel-batch"
    clips = Clips(program, scratch / "slurm")
    plan = scratch / "jobs3"
    words = [program, "plan", "-0", "-o", clips.folder, *lists]
    plan.write_bytes(output(*words))
    jobs = plan.read_bytes().count(b"\0")
    told = []
    with Slurm(build_folder, scratch / "slurm.d") as slurm:
        slurm.submit(2 * len(lists), scratch)
        wait_until(lambda: clips.done() > jobs / 4, "a quarter")
        slurm.kill("slurmd", "two")
        told.append(f"node 2 lost after {clips.done()} clips")
        wait_until(lambda: clips.done() > jobs / 2, "a half")
        clips.kill_an_ffmpeg()
        told.append(f"an ffmpeg killed after {clips.done()}")
        wait_until(lambda: clips.done() > jobs * 3 / 4, "three quarters")
        slurm.kill("slurmctld", "-D")
        told.append(f"slurmctld killed after {clips.done()} and started again")
        slurm.start("slurmctld", "-D")
        wait_until(lambda: slurm.ask("sinfo", "-h"), "slurmctld answers", 60)
        told.append(f"node 1 closed by that and opened again {slurm.wait_for_all()} times")
        ends = clips.ends()
        plan.write_bytes(output(*words))
        left = plan.read_bytes().count(b"\0")
        told.append(f"{left} left for a second plan")
        if left:
            slurm.submit(left, scratch)
            slurm.wait_for_all()
            ends += clips.ends()
    clips.require_status(jobs)
    twice = sum(count > 1 for count in ends.values())
    return ("Slurm, 2 nodes, shared folder", "; ".join(told), jobs, clips.compare(scratch / "reference", jobs), twice,
            states_in(scratch / "events3")["present"])


DOCUMENT = """# Several machines

Written by `scripts/test-cluster`, which makes the machines: hosts in network, process and mount namespaces of one machine,
reached by a real `sshd` over a bridge, and a real Slurm with `munge` and two `slurmd`. {videos} videos of {clips} clips
each; every clip was there once at the end, verified, with the pictures that one machine had written, and nothing begun lay
about.

| Who hands out the jobs | What happened meanwhile | Clips | Of the same bytes | Written more than once | Asked for again, but there |
|---|---|---|---|---|---|
"""


def main():
    build_folder = pathlib.Path(sys.argv[1]).resolve()
    number = int(sys.argv[2]) if len(sys.argv) > 2 else 20
    scratch = pathlib.Path(tempfile.mkdtemp(prefix="kestrel-cluster."))
    scratch.chmod(0o755)
    try:
        (scratch / "films").mkdir()
        lists = make_lists(scratch / "films", number)
        reference = subprocess.run([build_folder / "bin" / "kestrel-batch", "cut", "-q", "-j2", "-o", scratch / "reference",
                                    *lists], stdout=subprocess.DEVNULL, check=False)
        expect(reference.returncode == 0, "the run on one machine")
        text = DOCUMENT.format(videos=number, clips=CLIPS)
        for trial in (with_parallel, without_shared_folder, with_slurm):
            row = "| " + " | ".join(map(str, trial(build_folder, scratch, lists))) + " |\n"
            print(row, end="", flush=True)
            text += row
    finally:
        shutil.rmtree(scratch, ignore_errors=True)
    (pathlib.Path(__file__).resolve().parent.parent / "docs" / "cluster.md").write_text(text)


if __name__ == "__main__":
    main()
