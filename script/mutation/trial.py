"""Builds a changed copy of the sources and asks the test programs about it, the cheapest first."""

import os
import pathlib
import re
import resource
import shutil
import signal
import subprocess

from . import changes

# Which test programs are asked about a room, in this order: its own, those of the rooms above it, the platform's
# behaviour, and last those that start whole processes.
ASKED = {
    "base": ["base", "vectors", "events", "bridge", "platform", "host", "end_to_end"],
    "platform": ["platform", "bridge", "host", "end_to_end", "system_calls"],
    "events": ["events", "host", "bridge", "vectors", "end_to_end"],
    "bridge": ["bridge", "host", "vectors", "end_to_end", "system_calls"],
    "host": ["host", "vectors", "end_to_end", "system_calls"],
    "main": ["end_to_end", "system_calls"],
}
TIME_LIMIT = 60  # seconds, for what waits
PROCESSOR_LIMIT = 10  # seconds, for what turns in a circle
SLOW = 100  # milliseconds from which on a test is asked after all others
MEMORY_LIMIT = 1 << 30

# Changed programs may remove, signal or fill what they should not. They run where every mount is read-only but a /tmp of
# their own, in memory, and where they see no processes but theirs.
ENTER = ["unshare", "--mount", "--pid", "--fork", "--kill-child", "--mount-proc"]
INSIDE = """
directory=$1
shift
while read -r _ place _; do
    case $place in /proc | /proc/*) ;; *) mount -o remount,bind,ro "$place" 2>/dev/null || : ;; esac
done </proc/self/mounts
mount -t tmpfs -o size=512m,mode=1777 scratch "$directory/scratch" || exit 99
inner=$directory/scratch/${directory#/tmp/}
case $directory in
/tmp/*) mkdir -p "$inner" && mount --bind "$directory" "$inner" && mount -o remount,bind,ro "$inner" || exit 99 ;;
esac
mount --rbind "$directory/scratch" /tmp || exit 99
! touch "$directory/writable" /writable 2>/dev/null || exit 99
"$@"
status=$?
exit $status
"""
SANDBOX_FAILED = 99


def can_enter(directory):
    """Whether programs can be run apart from the rest of the system."""
    return run_apart(directory, ["true"])[0] == 0


def set_limits():
    resource.setrlimit(resource.RLIMIT_CPU, (PROCESSOR_LIMIT, PROCESSOR_LIMIT))
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY_LIMIT, MEMORY_LIMIT))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def run_apart(directory, command):
    """The exit status of the command, None if it took too long, and what it wrote."""
    (pathlib.Path(directory) / "scratch").mkdir(parents=True, exist_ok=True)
    environment = {name: value for name, value in os.environ.items() if name != "TMPDIR"}
    with subprocess.Popen([*ENTER, "sh", "-c", INSIDE, "sh", str(directory), *command], stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, env=environment,
                          preexec_fn=set_limits, start_new_session=True) as process:
        try:
            output, _ = process.communicate(timeout=TIME_LIMIT)
            return process.returncode, output.decode(errors="replace")
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            process.wait()
            return None, ""


# Reading the library headers takes longer than the sources; as the clang presets do without this, includes stay honest.
PRECOMPILED = """
cmake_language(EVAL CODE "cmake_language(DEFER DIRECTORY [[${CMAKE_SOURCE_DIR}]] CALL include [[${CMAKE_CURRENT_LIST_DIR}/rooms.cmake]])")
"""
PRECOMPILED_ROOMS = """
foreach(room base platform events bridge host)
    target_precompile_headers(kestrane_${room} PRIVATE <algorithm> <array> <charconv> <chrono> <cstdlib> <expected> <functional>
        <optional> <span> <string> <string_view> <utility> <variant> <vector>)
endforeach()
target_precompile_headers(kestrane_base PRIVATE <boost/json/basic_parser_impl.hpp> <boost/json/serializer.hpp>
    <boost/json/value.hpp>)
set_source_files_properties(boost_json.cpp TARGET_DIRECTORY kestrane_base PROPERTIES SKIP_PRECOMPILE_HEADERS ON)
"""


class Copy:
    """A copy of the tree with a build of its own."""

    def __init__(self, root, directory):
        self.root = pathlib.Path(root)
        self.directory = pathlib.Path(directory)
        self.sources = self.directory / "sources"
        self.build = self.directory / "build"
        self.slow_tests = {}  # of each test program

    def update(self):
        """Brings the sources up to date; what is the same keeps its time stamp, so that it is not built again."""
        present = set()
        for folder, folders, files in os.walk(self.root):
            folders[:] = [name for name in folders if name not in ("build", ".git", "__pycache__")]
            for name in files:
                source = pathlib.Path(folder) / name
                present.add(source.relative_to(self.root))
                self.update_file(source, self.sources / source.relative_to(self.root))
        for path in [path for path in self.sources.rglob("*") if path.is_file()]:
            if path.relative_to(self.sources) not in present:
                path.unlink()

    def update_file(self, source, copy):
        if copy.exists() and copy.read_bytes() == source.read_bytes():
            return
        copy.parent.mkdir(parents=True, exist_ok=True)
        shutil.copyfile(source, copy)
        copy.chmod(source.stat().st_mode)

    def configure(self):
        self.directory.mkdir(parents=True, exist_ok=True)
        (self.directory / "precompiled.cmake").write_text(PRECOMPILED)
        (self.directory / "rooms.cmake").write_text(PRECOMPILED_ROOMS)
        options = ["-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_CXX_FLAGS_DEBUG=-O0 -g0 -w",
                   "-DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST",
                   f"-DCMAKE_PROJECT_INCLUDE={self.directory}/precompiled.cmake"]
        if shutil.which("ld.lld"):
            options.append("-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=lld")
        subprocess.run(["cmake", "-S", self.sources, "-B", self.build, "-G", "Ninja", *options], check=True,
                       stdout=subprocess.DEVNULL)

    def make(self, programs):
        """Whether the test programs could be built; the output where they could not."""
        made = subprocess.run(["ninja", "-C", self.build, "-j1", *(f"kestrane_{name}_tests" for name in programs)],
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
        return made.returncode == 0, made.stdout

    def ask_unchanged(self, program):
        """What fails without any change, which must be nothing; finds out which tests take long."""
        status, output = self.run_tests(program)
        times = re.findall(r"^\[ +OK \] (\S+?),? .*\((\d+) ms\)$", output, re.MULTILINE)
        self.slow_tests[program] = [name for name, time in times if int(time) >= SLOW]
        return "" if status == 0 else output

    def run_tests(self, program, *arguments):
        path = self.build / "tests" / program / f"kestrane_{program}_tests"
        status, output = run_apart(self.directory, [str(path), "--gtest_fail_fast", *arguments])
        if status == SANDBOX_FAILED:
            raise RuntimeError("the changed program could not be run apart")
        return status, output

    def ask(self, program):
        """The status of a test program that stops at the first failure; None if it took too long."""
        slow = ":".join(self.slow_tests[program])
        status, _ = self.run_tests(program, f"--gtest_filter=*{'-' if slow else ''}{slow}")
        if status == 0 and slow:
            status, _ = self.run_tests(program, f"--gtest_filter={slow}")
        return status

    def try_change(self, change):
        """"survived", "not compiling", or the test program that noticed."""
        path = self.sources / change.file
        original = path.read_text(encoding="utf-8")
        times = path.stat()
        users = self.users_of(change)
        try:
            path.write_text(change.applied_to(original), encoding="utf-8")
            self.mark(path, times, users)
            return self.outcome(change)
        finally:
            path.write_text(original, encoding="utf-8")
            self.mark(path, times, users)

    # A constant in a header concerns those files alone that name it: the header keeps its time stamp, they get a new one.
    def users_of(self, change):
        if not change.file.endswith(".h") or not change.constant:
            return []
        named = re.compile(rf"\b{change.constant}\b")
        files = [path for path in self.sources.rglob("*") if path.suffix in (".cpp", ".h") and path.is_file()]
        users = [path for path in files if named.search(changes.without_texts(path.read_text(encoding="utf-8")))]
        header = self.sources / change.file
        own = named.findall(changes.without_texts(header.read_text(encoding="utf-8")))
        return [] if len(own) > 1 else [path for path in users if path != header]

    def mark(self, path, times, users):
        if users:
            os.utime(path, ns=(times.st_atime_ns, times.st_mtime_ns))
        for user in users:
            os.utime(user)

    def outcome(self, change):
        room = "main" if change.file == "host/main.cpp" else change.file.split("/")[0]
        for program in ASKED[room]:
            built, _ = self.make([program])
            if not built:
                return "not compiling"
            status = self.ask(program)
            if status != 0:
                return program if status is not None else f"{program} (took too long)"
        return "survived"
