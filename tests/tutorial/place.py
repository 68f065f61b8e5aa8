"""Where the tutorial is followed: a clean Debian 12 in a folder of its own, or this machine.

Either has a network of its own, with nothing in it but the loopback interface, because the bus's ports are fixed. It
also has processes of its own: all that runs there ends with the place, because the kernel ends the processes of a
namespace with its first one.
"""
import os
import pathlib
import shutil
import signal
import subprocess
import tempfile

SUITE = "bookworm"
READER = "reader"
READER_ID = "1000"
SYSTEM_PATH = "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin"
SOURCES = ("/etc/apt/sources.list", "/etc/apt/sources.list.d/debian.sources")
MAKING_SECONDS = 600


class PlaceError(Exception):
    """Why there is no place to follow the page, in words."""


def debian_sources():
    """The files in which this machine's apt finds Debian 12."""
    found = [name for name in SOURCES if os.path.isfile(name)]
    return [name for name in found if SUITE in pathlib.Path(name).read_text()]


def make_root(tar):
    """Makes a clean Debian 12 as a tar file."""
    if not shutil.which("mmdebstrap"):
        raise PlaceError("there is no mmdebstrap here, which makes a clean Debian 12. Install it with "
                         "'scripts/setup packages', or give such a system with --root.")
    made = subprocess.run(["mmdebstrap", "--quiet", "--variant=apt", SUITE, tar, *debian_sources()], check=False,
                          stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=MAKING_SECONDS)
    if made.returncode != 0:
        raise PlaceError(f"mmdebstrap has failed:\n{made.stderr.strip()}")


class Held:
    """The namespaces of a place, held by a process."""

    def __init__(self, unshare, prepare):
        if not all(map(shutil.which, ("unshare", "nsenter", "ip"))):
            raise PlaceError("unshare, nsenter and ip are needed here. Install them with 'scripts/setup tools'.")
        # --kill-child ends it when this program ends, however that happens.
        self.holder = subprocess.Popen(
            ["unshare", *unshare, "--net", "--fork", "--kill-child", "sh", "-ec",
             f"ip link set lo up; {prepare}\necho ready; exec sleep infinity"],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        if self.holder.stdout.readline() != "ready\n":
            said = self.holder.communicate()[1].strip()
            raise PlaceError(f"this system gives no namespaces of our own: {said}")
        self.first = child_of(self.holder.pid)

    def end(self):
        # The signal goes to the first process of the namespace. unshare ends with it.
        if self.holder.poll() is None:
            os.kill(self.first, signal.SIGKILL)
        self.holder.communicate()


def child_of(pid):
    """The first child of a process; 0 when it has none."""
    try:
        children = pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text().split()
    except OSError:
        return 0
    return int(children[0]) if children else 0


class CleanDebian:
    """A Debian 12 from a tar file, with an ordinary user."""

    def __init__(self, tar, packages):
        # The variable TMPDIR chooses another disk. It takes 1.5 GB.
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="ten-minutes-"))
        self.folder.chmod(0o755)
        self.root = self.folder / "root"
        self.held = None
        try:
            self.unpack(tar, packages)
        except BaseException:
            self.end()
            raise

    def unpack(self, tar, packages):
        self.root.mkdir()
        unpacked = subprocess.run(["tar", "--extract", "--numeric-owner", "--exclude=./dev/*", "--file", tar,
                                   "--directory", self.root], capture_output=True, text=True, check=False)
        if unpacked.returncode != 0:
            raise PlaceError(f"{tar} cannot be unpacked: {unpacked.stderr.strip()}")
        if not (self.root / "usr/bin/apt-get").exists():
            raise PlaceError(f"{tar} holds no Debian with apt")
        if os.path.exists("/etc/resolv.conf"):
            shutil.copyfile("/etc/resolv.conf", self.root / "etc/resolv.conf")
        # The reader answers yes. dpkg need not protect what is removed again from a loss of power. Services of the system
        # are not started in a folder.
        (self.root / "etc/apt/apt.conf.d/90reader").write_text('APT::Get::Assume-Yes "true";\n')
        (self.root / "etc/dpkg/dpkg.cfg.d/90reader").write_text("force-unsafe-io\n")
        (self.root / "usr/sbin/policy-rc.d").write_text("#!/bin/sh\nexit 101\n")
        (self.root / "usr/sbin/policy-rc.d").chmod(0o755)
        target = self.root / "packages"
        target.mkdir()
        for package in packages:
            shutil.copy(package, target)
        mounts = (f"mount --make-rprivate /; mount -t proc proc '{self.root}/proc'; "
                  f"mount --rbind /dev '{self.root}/dev'")
        self.held = Held(["--pid", "--mount"], mounts)
        command, environment = self.shell(is_root=True)
        made = subprocess.run([*command, f"useradd --create-home --uid {READER_ID} --shell /bin/bash {READER}"],
                              env=environment, capture_output=True, text=True, check=False)
        if made.returncode != 0:
            raise PlaceError(f"no user can be made there: {made.stderr.strip()}")

    def entered(self, network=True):
        names = ["--mount", "--pid", *(["--net"] if network else [])]
        return ["nsenter", "--target", str(self.held.first), *names]

    def shell(self, is_root):
        """The command and the environment of a shell for the reader, or for root with the machine's network."""
        home = "/root" if is_root else f"/home/{READER}"
        user = [] if is_root else [f"--userspec={READER_ID}:{READER_ID}", "--groups="]
        environment = {"HOME": home, "USER": "root" if is_root else READER, "PATH": SYSTEM_PATH, "LANG": "C.UTF-8",
                       "TERM": "dumb", "DEBIAN_FRONTEND": "noninteractive"}
        return [*self.entered(network=not is_root), "chroot", *user, self.root, "/bin/bash", "-c"], environment

    def pid_of_command(self, pid):
        """The command that an nsenter runs; 0 when it has ended."""
        return child_of(pid)

    def home(self, is_root):
        return "/packages" if is_root else f"/home/{READER}"

    def write(self, path, text):
        target = self.root / path.lstrip("/")
        target.write_text(text)
        os.chown(target, int(READER_ID), int(READER_ID))

    def end(self):
        if self.held:
            self.held.end()
        # Faster than shutil's, for some 50000 files. What was mounted there has gone with the namespace.
        subprocess.run(["rm", "--recursive", "--force", "--one-file-system", self.folder], check=True)


class ThisMachine:
    """This machine, with what is installed here. The home is a folder of its own."""

    def __init__(self):
        self.held = Held(["--map-root-user", "--pid", "--mount-proc"], ":")
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="ten-minutes-"))

    def shell(self, _is_root):
        command = ["nsenter", "--target", str(self.held.first), "--user", "--preserve-credentials", "--net",
                   "--pid", "--mount"]
        # The bus's control socket needs a folder of the user alone. In the namespace the user's id is another one.
        own = {"HOME": str(self.folder), "XDG_RUNTIME_DIR": str(self.folder), "LC_ALL": "C.UTF-8"}
        return [*command, "/bin/bash", "-c"], {**os.environ, **own}

    def pid_of_command(self, pid):
        return child_of(pid)

    def home(self, _is_root):
        return str(self.folder)

    def write(self, path, text):
        pathlib.Path(path).write_text(text)

    def end(self):
        self.held.end()
        shutil.rmtree(self.folder)
