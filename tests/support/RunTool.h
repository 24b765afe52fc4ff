#pragma once
// Runs the built layscan executable with a command line and collects its exit
// code, console output and error output (through files in a scratch folder).

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "support/ScratchFolder.h"

#ifndef _WIN32
#include <sys/wait.h>
#endif

struct ToolRun {
    int exitCode = -1;
    std::string out;  // the console
    std::string err;  // the error stream
};

inline std::string ToolPath() {
#ifdef _WIN32
    return LAYSCAN_BINARY_DIR "/layscan.exe";
#else
    return LAYSCAN_BINARY_DIR "/layscan";
#endif
}

inline std::string ReadWholeFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

inline std::string WithoutCarriageReturns(std::string text) {
    std::erase(text, '\r');
    return text;
}

// arguments is the command line after the program, already quoted as needed.
// The tool runs in workDir, so that its default report lands there.
inline ToolRun RunTool(const std::string& arguments, const ScratchFolder& workDir) {
    const std::string out = workDir.File("console.txt");
    const std::string err = workDir.File("errors.txt");
#ifdef _WIN32
    const std::string changeDir = "cd /d \"";
#else
    const std::string changeDir = "cd \"";
#endif
    std::string command = changeDir + workDir.Path().string() + "\" && \"" + ToolPath() + "\" " + arguments + " > \"" +
                          out + "\" 2> \"" + err + "\"";
#ifdef _WIN32
    // cmd drops the outermost quotes of what it is given.
    command = "\"" + command + "\"";
#endif
    ToolRun run;
    const int status = std::system(command.c_str());
#ifdef _WIN32
    run.exitCode = status;
#else
    run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
#endif
    // The console of Windows ends its lines with CR LF; compare them as LF.
    run.out = WithoutCarriageReturns(ReadWholeFile(out));
    run.err = WithoutCarriageReturns(ReadWholeFile(err));
    return run;
}
