"""Servers for the tests of examples/fleet: Slurm, sshd and Dask, all on the loopback of a network of their own.

`enter_namespaces` puts the test into namespaces in which only the loopback exists, ports are its own, mounts go with it,
and all processes end with it. A node is a server in a further process namespace, so that it can be taken down like a
machine: at once and with all that runs on it.
"""

import os
import pathlib
import shutil
import socket
import subprocess
import sys
import time

INSIDE = "EDGEFOLD_FLEET_TEST_INSIDE"
PROGRAMS = ("unshare", "ip", "mount", "munged", "slurmctld", "slurmd", "sbatch", "sshd", "ssh-keygen", "ssh",
            "dask-scheduler", "dask-worker", "parallel", "make", "script", "ss")
TIME_LIMIT = 300  # for machines with much else to do


def enter_namespaces():
    """Runs this program again, as root of namespaces of its own, and comes back there alone."""
    missing = [program for program in PROGRAMS if not shutil.which(program)]
    if missing:
        sys.exit("not installed: " + ", ".join(missing))
    if INSIDE not in os.environ:
        if os.geteuid() != 0:
            sys.exit("run it as root: its servers get namespaces of their own")
        os.environ[INSIDE] = "yes"
        os.execvp("unshare", ["unshare", "--net", "--pid", "--mount", "--mount-proc", "--uts", "--ipc", "--fork",
                              "--kill-child", "--", sys.executable, *sys.argv])
    socket.sethostname("localhost")
    subprocess.run(["ip", "link", "set", "lo", "up"], check=True)
    # The C library takes a machine for one without a network if it has no address but 127.0.0.1.
    subprocess.run(["ip", "address", "add", "10.0.0.1/32", "dev", "lo"], check=True)
    subprocess.run(["mount", "--make-rshared", "/"], check=True)  # a node sees what is mounted later
    subprocess.run(["mount", "-t", "tmpfs", "fleet", "/run"], check=True)  # where sshd wants a directory


def wait_until(condition, what):
    end = time.monotonic() + TIME_LIMIT
    while not condition():
        if time.monotonic() > end:
            raise TimeoutError(what)
        time.sleep(0.05)


def listens(port):
    with socket.socket() as client:
        return client.connect_ex(("127.0.0.1", port)) == 0


def pids_of(*words):
    """The processes in whose command line all words occur."""
    found = []
    for path in pathlib.Path("/proc").glob("[0-9]*/cmdline"):
        try:
            line = path.read_bytes().replace(b"\0", b" ").decode(errors="replace")
        except OSError:
            continue
        if all(word in line for word in words):
            found.append(int(path.parent.name))
    return found


class Servers:
    """Processes that run until they are stopped; each writes a log."""

    def __init__(self, place):
        self.place = place
        self.running = {}

    def start(self, name, command, **variables):
        with open(self.place / (name + ".log"), "ab") as log:
            self.running[name] = subprocess.Popen([str(word) for word in command], stdin=subprocess.DEVNULL, stdout=log,
                                                  stderr=log, cwd=self.place, env=dict(os.environ, **variables))

    def start_node(self, name, command, **variables):
        # The shell is the first process of the node, and as such waits for those that others have left.
        self.start(name, ["unshare", "--pid", "--mount-proc", "--propagation", "slave", "--fork", "--kill-child", "--",
                          "bash", "-c", '"$@" & wait $!', name, *command], **variables)

    def take_down(self, name):
        """Ends a server at once, a node with all that runs there."""
        server = self.running.pop(name)
        server.kill()
        server.wait()

    def cancel_jobs(self):
        """Ends what a test may have left to do; nothing where the engine does so itself."""

    def stop(self):
        for server in self.running.values():
            server.kill()
            server.wait()
        self.running.clear()


SLURM_CONF = """
ClusterName=fleet
SlurmctldHost=localhost(127.0.0.1)
SlurmctldPort=6817
SlurmUser=root
SlurmdUser=root
AuthType=auth/munge
AuthInfo=cred_expire=5,socket={place}/munge.sock
CredType=cred/munge
SlurmctldPidFile={place}/slurmctld.pid
SlurmdPidFile={place}/%n.pid
SlurmdSpoolDir={place}/spool-%n
StateSaveLocation={place}/state
ProctrackType=proctrack/pgid
TaskPlugin=task/none
JobAcctGatherType=jobacct_gather/none
AccountingStorageType=accounting_storage/none
MpiDefault=none
SelectType=select/cons_tres
SelectTypeParameters=CR_Core
SlurmdParameters=config_overrides
CommunicationParameters=NoCtldInAddrAny,NoInAddrAny
SchedulerParameters=sched_interval=1,sched_min_interval=100000,batch_sched_delay=0,bf_interval=1
ReturnToService=2
SlurmdTimeout=300
KillWait=2
NodeName=n[1-2] NodeHostname=localhost NodeAddr=127.0.0.1 Port=[7001-7002] CPUs=2 RealMemory=4000
PartitionName=all Nodes=ALL Default=YES MaxTime=INFINITE State=UP
"""


class Slurm(Servers):
    """A controller and two nodes of two processors each."""

    nodes = ("n1", "n2")

    def __init__(self, place, path):
        super().__init__(place)
        self.path = path
        (place / "state").mkdir()
        (place / "key").write_bytes(os.urandom(128))
        (place / "key").chmod(0o400)
        (place / "cgroup.conf").write_text("CgroupPlugin=cgroup/v1\n")
        (place / "slurm.conf").write_text(SLURM_CONF.format(place=place))
        self.variables = {"SLURM_CONF": str(place / "slurm.conf")}
        self.start("munge", ["munged", "--foreground", "--key-file", place / "key", "--socket", place / "munge.sock",
                             "--pid-file", place / "munge.pid", "--log-file", place / "munge.log",
                             "--seed-file", place / "munge.seed", "--num-threads", "2"])
        wait_until((place / "munge.sock").exists, "munged")
        self.start("slurmctld", ["slurmctld", "-D", "-f", place / "slurm.conf"])
        for node in self.nodes:
            self.bring_up(node)
        wait_until(lambda: self.states() == "idle idle", "Slurm's nodes")

    def take_down(self, name):
        super().take_down(name)
        if name in self.nodes:  # the controller would notice by itself, but takes its time
            self.ask("scontrol", "update", "nodename=" + name, "state=down", "reason=test")

    def bring_up(self, node):
        self.start_node(node, ["slurmd", "-D", "-N", node, "-f", self.place / "slurm.conf"], PATH=self.path)

    def cancel_jobs(self):
        self.ask("scancel", "--user=root")
        wait_until(lambda: not self.ask("squeue", "-h"), "Slurm's jobs to end")

    def states(self):
        return " ".join(self.ask("sinfo", "-h", "-N", "-o", "%T").split())

    def ask(self, *command):
        return subprocess.run(command, env=dict(os.environ, **self.variables), capture_output=True, text=True,
                              check=False).stdout


class SshHosts(Servers):
    """Two hosts to log in to by a key, on two ports."""

    nodes = ("host1", "host2")

    def __init__(self, place, path):
        super().__init__(place)
        pathlib.Path("/run/sshd").mkdir(exist_ok=True)
        for key in ("host_key", "key"):
            subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", place / key], check=True)
        config = ""
        for node, port in zip(self.nodes, (7022, 7023)):
            (place / (node + ".conf")).write_text(
                "ListenAddress 127.0.0.1:%d\nHostKey %s/host_key\nAuthorizedKeysFile %s/key.pub\nPidFile none\n"
                "StrictModes no\nUsePAM no\nPermitRootLogin yes\nMaxStartups 100\nSetEnv PATH=%s\n" %
                (port, place, place, path))
            config += ("Host %s\n HostName 127.0.0.1\n Port %d\n IdentityFile %s/key\n IdentitiesOnly yes\n"
                       " StrictHostKeyChecking no\n UserKnownHostsFile %s/known\n LogLevel ERROR\n"
                       " ConnectTimeout 60\n" % (node, port, place, place))
            self.bring_up(node)
            wait_until(lambda port=port: listens(port), "sshd")
        (place / "ssh_config").write_text(config)
        self.variables = {"PARALLEL": "--ssh 'ssh -F %s/ssh_config' --sshlogin 2/host1,2/host2 --workdir . "
                                      "--retries 3" % place}

    def bring_up(self, node):
        self.start_node(node, [shutil.which("sshd"), "-D", "-e", "-f", self.place / (node + ".conf")])


class Dask(Servers):
    """A scheduler and two workers of two threads each."""

    nodes = ("worker1", "worker2")
    address = "tcp://127.0.0.1:8786"

    def __init__(self, place, path):
        super().__init__(place)
        self.path = path
        self.start("scheduler", ["dask-scheduler", "--host", "127.0.0.1", "--port", "8786",
                                 "--dashboard-address", "127.0.0.1:0"])
        wait_until(lambda: listens(8786), "Dask's scheduler")
        for node in self.nodes:
            self.bring_up(node)
        self.variables = {}

    def bring_up(self, node):
        # The scheduler may not yet know that the one of this name is gone.
        name = "%s-%d" % (node, time.monotonic_ns())
        (self.place / name).mkdir()
        self.start_node(node, ["dask-worker", self.address, "--host", "127.0.0.1", "--name", name, "--nthreads", "2",
                               "--dashboard-address", "127.0.0.1:0", "--no-nanny",
                               "--local-directory", self.place / name], PATH=self.path)
