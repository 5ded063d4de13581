#pragma once

#include <QString>
#include <QStringList>

#include <cstdio>
#include <functional>

namespace rehome::companions {

/// Exit status: wrong arguments, or something that had to be read could not be read.
inline constexpr int CannotStart = 2;

/// Control characters are replaced: names come from a directory that others write to.
void print(std::FILE* stream, const QString& text);

/// A line of LDIF, in base64 only if a terminal could not show the value as it is, or LDIF could
/// not hold it.
QString ldifLine(const QString& name, const QByteArray& value);

/// The words of a command line, options and operands in any order; "--" ends the options.
struct CommandLine {
    QStringList options;
    QStringList operands;

    bool has(QLatin1String option) const { return options.contains(option); }
};

struct Program {
    QString name;
    QString usage;       ///< for --help, and after wrong arguments
    QStringList options; ///< besides --help and --version
    qsizetype minOperands = 0;
    qsizetype maxOperands = 0;
    std::function<int(const CommandLine&)> body; ///< returns the exit status
};

/// Runs a console program and ends the process with its exit status: CannotStart after wrong
/// arguments, after an exception, which it prints, and if the standard output could not be written.
[[noreturn]] void runConsole(int argc, char** argv, const Program& program);

} // namespace rehome::companions
