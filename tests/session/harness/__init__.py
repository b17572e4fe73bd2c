"""What session tests are made of: obxd, a scripted daemon, obxc run to its end, and obxc on a pseudo-terminal.

    def test_pwd(shell):                       # fixtures are in conftest.py: obxd, shell, terminal, scripted, ...
        assert shell.run("pwd") == ":"

Everything lives in a private directory, the history files of a shell too, so tests run side by side.
Waiting is always for something that can be seen; a time-out fails the test and shows the screen as it was.
"""

from .client import Client, fault
from .daemons import QUICK, SMALL, SMALL_MODEL, UPLOADS, Obxd, ScriptedDaemon, after, make_image, remote_obxd
from .programs import (BARE, BUILD, EMULATED, LEFT_OUT, OBX, OBXC, OBXD, PATIENCE, PLAIN, SANITIZED, SHELL, SOURCE,
                       TREE_MODULES, Finished, SessionFailure, binary, check_sanitizers, configured, environment, obx,
                       obx_environment, obxc, runs, temp_dir, wait_until)
from .terminal import PROMPT, Terminal
from .timing import SOON, Stopwatch, cpu_seconds, timed, wait_for_rest
