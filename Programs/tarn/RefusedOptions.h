#pragma once

#include "Programs/tarn/Failure.h"

#include <CLI/CLI.hpp>

#include <initializer_list>
#include <string>

namespace tarn::program {

/// Throws Failure (usage) when the command line gives one of the options, which mean nothing for the file:
/// whoever gives them expects something else to happen.
inline void refuseOptions(const CLI::App& command, const std::string& file,
                          std::initializer_list<const char*> options) {
    for (const char* option : options) {
        if (command.count(option) > 0)
            throw Failure(ExitStatus::usage, file + ": " + option + " means nothing for this kind of file");
    }
}

} // namespace tarn::program
