#pragma once

#include <chrono>
#include <string>
#include <vector>

// What a finished child process left behind.
struct ProgramResult {
    // The exit status when the child exited normally, else -1.
    int exitCode = -1;
    // The signal that ended the child, else 0.
    int signal = 0;
    // The child outlived its time limit and was killed.
    bool timedOut = false;
    std::string out;
    std::string err;
};

// Runs a program as a child process and collects its output, killing it when it
// runs too long, so one hung child cannot hang the whole test run. argv[0] is
// the program's path; extraEnvironment entries ("NAME=value") are added to (or
// replace those of) the test's own environment. Throws std::runtime_error when
// the program cannot be started at all.
ProgramResult runProgram(const std::vector<std::string>& argv, std::chrono::milliseconds timeout,
                         const std::vector<std::string>& extraEnvironment = {});
