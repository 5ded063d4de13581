#pragma once

#include <QString>

#include <optional>

namespace rehome::app {

/// A program as its command line is answered.
struct CommandLine {
    QString name;
    QString help;           ///< what --help writes
    QString refusal;        ///< of any other argument; a sentence with its remedy
    bool takesFile = false; ///< a single argument that is not an option
};

/// Answers --help, --version and what is wrong on the terminal, before anything is opened. The exit
/// status: 0, or 2 for what is wrong; none if a window is wanted.
std::optional<int> answerCommandLine(int argc, char** argv, const CommandLine& program);

} // namespace rehome::app
