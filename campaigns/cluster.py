"""kestrel-batch on several machines, each a network and a process namespace of this one: cluster.py <build folder> [videos]

Root only. Three hosts with a real sshd are worked by GNU parallel while one host is cut off, an ffmpeg is killed and
parallel itself is killed and started again; then a Slurm with two nodes does the same videos. The clips are compared with
those of one machine.
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


def wait_until(condition, what, seconds=600):
    deadline = time.monotonic() + seconds
    while not condition():
        expect(time.monotonic() < deadline, f"waited in vain: {what}")
        time.sleep(0.02)


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


class Clips:
    """A folder of clips and what its journal tells."""

    def __init__(self, program, folder):
        self._program, self.folder = program, folder

    def ends(self):
        """How often each clip was written completely."""
        counts = collections.Counter()
        journal = self.folder / ".kestrel-batch.journal"
        for line in journal.read_bytes().split(b"\n") if journal.exists() else []:
            if b'"clip":' in line and line.endswith(b"}"):
                entry = json.loads(line)
                counts[entry["folder"], entry["clip"]["output"]] += entry["clip"]["state"] == "completed"
        return counts

    def done(self):
        return sum(count > 0 for count in self.ends().values())

    def compare(self, reference, expected):
        """Every clip is there once, as it was noted, with the same pictures; how many were written more than once."""
        status = json.loads(subprocess.run([self._program, "status", "--json", self.folder],
                                           stdout=subprocess.PIPE, check=False).stdout)
        expect(status["completed"] == expected and not status["clips"], f"complete: {status}")
        names = sorted(path.relative_to(self.folder) for path in self.folder.glob("*/*.mp4"))
        expect(len(names) == expected, f"{len(names)} clips of {expected}")
        for name in names:
            if (self.folder / name).read_bytes() != (reference / name).read_bytes():
                hashes = [output("ffmpeg", "-v", "error", "-i", place / name, "-f", "framemd5", "-")
                          for place in (self.folder, reference)]
                expect(hashes[0] == hashes[1], f"{name} has other pictures")
        return sum(count > 1 for count in self.ends().values())


class Hosts(contextlib.ExitStack):
    """Named kestrel1, kestrel2, ..., reached over a bridge."""

    def __init__(self, build_folder, scratch):
        super().__init__()
        self._scratch = scratch
        self.ssh_config = scratch / "ssh_config"
        run("ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", scratch / "key")
        run("ip", "link", "add", "kestrelbr", "type", "bridge")
        self.callback(run, "ip", "link", "del", "kestrelbr")
        run("ip", "address", "add", "10.77.0.1/24", "dev", "kestrelbr")
        run("ip", "link", "set", "kestrelbr", "up")
        os.makedirs("/run/sshd", exist_ok=True)
        config = ""
        for number in range(1, HOSTS + 1):
            self._add(f"kestrel{number}", f"10.77.0.{number + 1}", build_folder)
            config += f"Host kestrel{number}\n  HostName 10.77.0.{number + 1}\n"
        config += (f"Host *\n  Port {PORT}\n  User root\n  IdentityFile {scratch}/key\n  StrictHostKeyChecking no\n"
                   f"  UserKnownHostsFile /dev/null\n  LogLevel ERROR\n  ConnectTimeout 3\n"
                   f"  ServerAliveInterval 1\n  ServerAliveCountMax 3\n")
        self.ssh_config.write_text(config)

    def _add(self, name, address, build_folder):
        run("ip", "netns", "add", name)
        self.callback(run, "ip", "netns", "del", name)
        run("ip", "link", "add", name, "type", "veth", "peer", "name", "eth0", "netns", name)
        run("ip", "link", "set", name, "master", "kestrelbr", "up")
        for words in (["address", "add", f"{address}/24", "dev", "eth0"], ["link", "set", "eth0", "up"],
                      ["link", "set", "lo", "up"]):
            run("ip", "-n", name, *words)
        daemon = subprocess.Popen(
            ["ip", "netns", "exec", name, "unshare", "--pid", "--uts", "--fork", "--kill-child", "--mount-proc", "sh",
             "-c", f"hostname {name}; exec /usr/sbin/sshd -D -e -f /dev/null -h {self._scratch}/key -p {PORT} "
             f"-o AuthorizedKeysFile={self._scratch}/key.pub -o StrictModes=no -o PermitRootLogin=yes "
             f"-o PidFile=none -o SetEnv=PATH={build_folder}/bin:/usr/bin:/bin"],
            stderr=(self._scratch / f"{name}.log").open("wb"))
        self.callback(end, daemon)

    def cut_off(self, name):
        run("ip", "link", "set", name, "down")


def parallel(hosts, plan, joblog, *more):
    """In words as a user has them."""
    return subprocess.Popen(
        ["parallel", "--will-cite", "-0", *(f"--sshlogin=2/kestrel{n}" for n in range(1, HOSTS + 1)), "--ssh",
         f"ssh -F {hosts.ssh_config}", "--joblog", str(joblog), "--retries", "3", "--termseq", "TERM,4000,KILL,25", *more],
        stdin=plan.open("rb"), stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def with_parallel(build_folder, scratch, lists):
    program = build_folder / "bin" / "kestrel-batch"
    clips = Clips(program, scratch / "parallel")
    plan = scratch / "plan"
    plan.write_bytes(output(program, "plan", "-0", "-o", clips.folder, *lists))
    jobs = plan.read_bytes().count(b"\0")
    with Hosts(build_folder, scratch) as hosts:
        for number in range(1, HOSTS + 1):
            wait_until(lambda n=number: subprocess.run(["ssh", "-F", hosts.ssh_config, f"kestrel{n}", "true"],
                                                       check=False).returncode == 0, "a host answers", 30)
        first = parallel(hosts, plan, scratch / "joblog")
        wait_until(lambda: clips.done() > jobs / 4, "a quarter")
        hosts.cut_off("kestrel1")
        print(f"kestrel1 cut off after {clips.done()} clips", flush=True)
        wait_until(lambda: clips.done() > jobs / 2, "a half")
        victims = [pid for pid in output("pgrep", "-f", f"^/usr/bin/ffmpeg .*{clips.folder}").split()]
        os.kill(int(victims[0]), signal.SIGKILL)
        print(f"an ffmpeg killed after {clips.done()} clips", flush=True)
        wait_until(lambda: clips.done() > jobs * 3 / 4, "three quarters")
        first.kill()
        first.wait()
        print(f"parallel killed after {clips.done()} clips", flush=True)
        again = parallel(hosts, plan, scratch / "joblog", "--resume-failed")
        status = again.wait()
        print(f"parallel ended with {status}", flush=True)
    twice = clips.compare(scratch / "reference", jobs)
    print(f"GNU parallel, {HOSTS} hosts: {jobs} clips, once each and as on one machine; written more than once: {twice}")


def with_slurm(build_folder, scratch, lists):
    program = build_folder / "bin" / "kestrel-batch"
    clips = Clips(program, scratch / "slurm")
    place = scratch / "slurm.d"
    place.mkdir(mode=0o755)
    (place / "key").write_bytes(os.urandom(128))
    (place / "key").chmod(0o600)
    host = os.uname().nodename
    (place / "slurm.conf").write_text(f"""
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
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
MpiDefault=none
ReturnToService=2
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
NodeName=one NodeHostname={host} NodeAddr=127.0.0.1 Port=17001 CPUs=2
NodeName=two NodeHostname={host} NodeAddr=127.0.0.1 Port=17002 CPUs=2
PartitionName=all Nodes=ALL Default=YES State=UP
""")
    environment = dict(os.environ, SLURM_CONF=str(place / "slurm.conf"),
                       PATH=f"{build_folder}/bin:{os.environ['PATH']}")
    with contextlib.ExitStack() as daemons:
        for name, words in (("munged", ["munged", "--foreground", f"--key-file={place}/key",
                                        f"--socket={place}/munge.socket", f"--pid-file={place}/munge.pid",
                                        f"--seed-file={place}/munge.seed", f"--log-file={place}/munge.log"]),
                            ("slurmctld", ["slurmctld", "-D"]), ("one", ["slurmd", "-D", "-N", "one"]),
                            ("two", ["slurmd", "-D", "-N", "two"])):
            log = (place / f"{name}.out").open("wb")
            daemons.callback(end, subprocess.Popen(words, env=environment, stdout=log, stderr=log))
            time.sleep(1)
        plan = scratch / "jobs"
        plan.write_bytes(output(program, "plan", "-o", clips.folder, *lists))
        jobs = plan.read_bytes().count(b"\n")
        wait_until(lambda: subprocess.run(["sinfo", "-h", "-t", "idle", "-o", "%D"], env=environment, check=False,
                                          stdout=subprocess.PIPE).stdout.strip() == b"2", "both nodes are idle", 60)
        run("sbatch", f"--array=1-{jobs}", "--requeue", "--output=/dev/null", "--wrap",
            'eval "$(sed -n "${SLURM_ARRAY_TASK_ID}p" jobs)"', env=environment, cwd=scratch)
        wait_until(lambda: clips.done() > jobs / 3, "a third")
        victims = output("pgrep", "-f", f"^/usr/bin/ffmpeg .*{clips.folder}").split()
        os.kill(int(victims[0]), signal.SIGKILL)
        print(f"an ffmpeg killed after {clips.done()} clips", flush=True)
        queue = lambda: subprocess.run(["squeue", "-h"], env=environment, check=False, stdout=subprocess.PIPE).stdout
        wait_until(lambda: not queue().strip(), "the queue is empty", 1800)
        left = output(program, "plan", "-o", clips.folder, *lists).count(b"\n")
        print(f"left for a second plan: {left}", flush=True)
        plan.write_bytes(output(program, "plan", "-o", clips.folder, *lists))
        if left:
            run("sbatch", "--wait", f"--array=1-{left}", "--output=/dev/null", "--wrap",
                'eval "$(sed -n "${SLURM_ARRAY_TASK_ID}p" jobs)"', env=environment, cwd=scratch)
    twice = clips.compare(scratch / "reference", jobs)
    print(f"Slurm, 2 nodes: {jobs} clips, once each and as on one machine; written more than once: {twice}")


def main():
    build_folder = pathlib.Path(sys.argv[1]).resolve()
    number = int(sys.argv[2]) if len(sys.argv) > 2 else 20
    scratch = pathlib.Path(tempfile.mkdtemp(prefix="kestrel-cluster."))
    scratch.chmod(0o755)
    try:
        lists = make_lists(scratch, number)
        reference = subprocess.run([build_folder / "bin" / "kestrel-batch", "cut", "-q", "-j2", "-o", scratch / "reference",
                                    *lists], stdout=subprocess.DEVNULL, check=False)
        expect(reference.returncode == 0, "the run on one machine")
        with_parallel(build_folder, scratch, lists)
        with_slurm(build_folder, scratch, lists)
    finally:
        shutil.rmtree(scratch, ignore_errors=True)


if __name__ == "__main__":
    main()
