#include "app/command_line.h"

#include "app/application.h"
#include "platform/shown_text.h"

#include <cstdio>
#include <string_view>

namespace rehome::app {

using namespace Qt::Literals::StringLiterals;

std::optional<int> answerCommandLine(int argc, char** argv, const CommandLine& program) {
    if (argc < 2)
        return std::nullopt;
    const std::string_view first = argv[1];
    const bool single = argc == 2;
    if (single && program.takesFile && !first.starts_with('-'))
        return std::nullopt;
    const auto write = [](std::FILE* stream, const QString& text) {
        std::fputs(text.toUtf8().constData(), stream);
    };
    const bool asksVersion = first == "--version";
    const bool asksHelp = first == "--help" || first == "-h";
    if (single && (asksVersion || asksHelp)) {
        write(stdout, asksHelp ? program.help : u"%1 %2\n"_s.arg(program.name, version()));
        return 0;
    }
    // The first word that is too much.
    const bool firstIsWrong =
        !asksVersion && !asksHelp && (first.starts_with('-') || !program.takesFile);
    const QString wrong = platform::shownText(QString::fromLocal8Bit(argv[firstIsWrong ? 1 : 2]));
    write(stderr,
          u"%1: \"%2\" is not understood. %3\n"_s.arg(program.name, wrong, program.refusal));
    return 2;
}

} // namespace rehome::app
