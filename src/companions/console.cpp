#include "companions/console.h"

#include "journal/recovery_stream.h"
#include "platform/error.h"
#include "platform/shown_text.h"

#include <QCoreApplication>

#include <cstdlib>
#include <optional>

namespace rehome::companions {

using namespace Qt::Literals::StringLiterals;

namespace {

/// None if they are wrong.
std::optional<CommandLine> parsed(const QStringList& words, const Program& program) {
    const QStringList known = program.options + QStringList{u"--help"_s, u"--version"_s};
    CommandLine line;
    bool optionsEnded = false;
    for (const QString& word : words) {
        if (optionsEnded || !word.startsWith(u'-') || word == "-"_L1)
            line.operands += word;
        else if (word == "--"_L1)
            optionsEnded = true;
        else if (known.contains(word))
            line.options += word;
        else
            return std::nullopt;
    }
    const auto operands = line.operands.size();
    const bool informs = line.has("--help"_L1) || line.has("--version"_L1);
    if (!informs && (operands < program.minOperands || operands > program.maxOperands))
        return std::nullopt;
    return line;
}

int run(const Program& program) {
    const auto line = parsed(QCoreApplication::arguments().sliced(1), program);
    if (!line) {
        print(stderr, program.usage);
        return CannotStart;
    }
    if (line->has("--help"_L1) || line->has("--version"_L1)) {
        print(stdout,
              line->has("--help"_L1) ? program.usage : program.name + u" " REHOME_VERSION "\n"_s);
        return EXIT_SUCCESS;
    }
    return program.body(*line);
}

} // namespace

void print(std::FILE* stream, const QString& text) {
    std::fputs(platform::shownMessage(text).toUtf8().constData(), stream);
}

QString ldifLine(const QString& name, const QByteArray& value) {
    const QString text = QString::fromUtf8(value);
    const bool shows =
        text.toUtf8() == value && platform::shownText(text) == text && text == text.trimmed();
    return shows ? name + u": "_s + text + u'\n'
                 : name + u":: "_s + QString::fromLatin1(value.toBase64()) + u'\n';
}

void runConsole(int argc, char** argv, const Program& program) {
    journal::fillStandardDescriptors();
    const QCoreApplication application(argc, argv);
    int status = CannotStart;
    try {
        status = run(program);
    } catch (const std::exception& error) {
        print(stderr, u"%1: %2\n"_s.arg(program.name, describe(error)));
    }
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        print(stderr, u"%1: the standard output could not be written\n"_s.arg(program.name));
        status = CannotStart;
    }
    // A thread that an engine has left behind must not see its libraries being taken down.
    std::fflush(nullptr);
    std::_Exit(status);
}

} // namespace rehome::companions
