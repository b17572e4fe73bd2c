// Start-up and shut-down of the program.
#pragma once

/// The whole run of the program; returns its exit status.
int run(int argc, char** argv);
