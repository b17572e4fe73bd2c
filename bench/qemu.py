"""What a program of another architecture costs: its own instructions and its own memory, as the emulator shows them."""

import os
import re
import select
import subprocess
import tempfile


def instructions(command):
    """Instructions of a whole process: the emulator is told to translate one at a time, and to note each."""
    emulator, *rest = command
    with tempfile.TemporaryDirectory(dir="/var/tmp") as directory:
        log = os.path.join(directory, "log")
        subprocess.run([emulator, "-singlestep", "-d", "exec,nochain", "-D", log, *rest], stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL, stdin=subprocess.DEVNULL)
        with open(log, "rb") as lines:
            return sum(line.startswith(b"Trace ") for line in lines)


def resident(pid, program, bits=32):
    """Resident KiB of the emulated program: of the emulator's memory what lies where the program's addresses do. The
    program is linked at a fixed address; its file is mapped there."""
    fixed = fixed_address(program)
    base = None
    total = 0
    inside = False
    with open("/proc/%d/smaps" % pid) as maps:
        for line in maps:
            area = re.match(r"([0-9a-f]+)-([0-9a-f]+) \S+ ([0-9a-f]+) \S+ \S+\s*(.*)", line)
            if area:
                start, offset, name = int(area.group(1), 16), int(area.group(3), 16), area.group(4)
                if base is None and name == os.path.realpath(program) and offset == 0:
                    base = start - fixed
                inside = base is not None and start < base + (1 << bits)
            elif inside and line.startswith("Rss:"):
                total += int(line.split()[1])
    assert base is not None, "the program is not mapped"
    return total


def fixed_address(program):
    """Where the program's file is mapped from its start on."""
    headers = subprocess.run(["readelf", "-lW", program], stdout=subprocess.PIPE, text=True, check=True).stdout
    return min(int(address, 16) for address in re.findall(r"^\s+LOAD\s+0x0+\s+(0x[0-9a-f]+)", headers, re.M))


def resident_at_output(command, program):
    """Resident KiB of a one-shot program at its first output: when it has its answer and all that it needed for it."""
    reader, writer = os.pipe()
    os.set_blocking(writer, False)
    try:
        while True:  # so that the program waits when it writes
            os.write(writer, b"\0" * 4096)
    except BlockingIOError:
        os.set_blocking(writer, True)
    process = subprocess.Popen(command, stdout=writer)
    try:
        wait_for_write(process.pid)
        return resident(process.pid, program)
    finally:
        os.close(writer)
        while select.select([reader], [], [], 5)[0] and os.read(reader, 65536):
            pass
        process.wait()
        os.close(reader)


def wait_for_write(pid):
    """Waits until the process sleeps in a write to a pipe."""
    for _ in range(2000):
        with open("/proc/%d/wchan" % pid) as wchan:
            if "pipe_w" in wchan.read():
                return
        select.select([], [], [], 0.01)
    raise AssertionError("the program has written nothing")


def emulator_of(program, top):
    """The emulator's command for a program of MIPS, with the folder where its C library lies; the compiler; whether that
    library is musl."""
    headers = subprocess.run(["readelf", "-lW", program], stdout=subprocess.PIPE, text=True, check=True).stdout
    musl = "ld-musl" in headers
    folder = os.path.join(top, "build-deps", "mipsel-musl-system") if musl else "/usr/mipsel-linux-gnu"
    compiler = os.path.join(folder, "bin", "cc") if musl else "mipsel-linux-gnu-gcc"
    return ["qemu-mipsel-static", "-L", folder], compiler, musl


def bench(top, build, harness, row, parameter):
    """The rows of `bench/run --qemu`: a one-shot request and a shell at its prompt."""
    program = os.path.join(build, "bin", "obxc")
    emulator, compiler, musl = emulator_of(program, top)
    with tempfile.TemporaryDirectory(dir="/var/tmp") as directory:
        empty = os.path.join(directory, "empty")
        subprocess.run([compiler, "-x", "c", "-", "-fno-pie", "-no-pie", "-o", empty], input=b"int main() { return 0; }",
                       check=True)
        floor = instructions([*emulator, empty])
    daemon = harness.Obxd()
    ours = [*emulator, program, "-u", daemon.socket, "-r", "get", parameter]
    row("one-shot get", "instructions", floor, None, instructions(ours), None, 310000 if musl else 360000)
    row("one-shot get", "KiB, with its answer", None, None, resident_at_output(ours, program), None, 1945)
    terminal = harness.Terminal(command=[*emulator, program, "-u", daemon.socket])
    terminal.prompt()
    terminal.settle()
    row("idle shell", "KiB", None, None, resident(terminal.process.pid, program), None, 3072)
    terminal.close()
    daemon.close()
