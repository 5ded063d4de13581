#include "journal/log_line.h"

#include "platform/guid.h"

#include <QRegularExpression>

#include <algorithm>
#include <array>

namespace rehome::journal {

using namespace Qt::Literals::StringLiterals;
using platform::Event;

namespace {

const QString Summary = u"summary: "_s;

constexpr std::array Kinds{
    EventKind{Event::Remark, "remark", "f02d8a6c071f4088a775a864bb67745b", ""},
    EventKind{Event::Listed, "listed", "9bc66841ec854e2c90d30de97ac66482", "listed "},
    EventKind{Event::Dropped, "dropped", "f0c67fd8374045b7af2c78281b0394d1", "dropped from "},
    EventKind{Event::NotDropped, "not-dropped", "6c2210daa93b42f59adae937b0bea3e4",
              "not dropped: "},
    EventKind{Event::DropUnanswered, "drop-unanswered", "681cd82941164a1aaf73f16ac37123d3",
              "perhaps dropped: "},
    EventKind{Event::Created, "created", "f2ebbe41fecb4048a2066f82442367de", "created on "},
    EventKind{Event::NotCreated, "not-created", "1225b9b0211f4fb5923c5b1bce96be98",
              "not created on "},
    EventKind{Event::CreationUnanswered, "creation-unanswered", "d71be8bf5bb342ea9b024ba222411e29",
              "perhaps created on "},
    EventKind{Event::AddressRestored, "address-restored", "7b8eb56ecc61479da33d353df8d8fb4f",
              "address restored"},
    EventKind{Event::AddressNotRestored, "address-not-restored", "84453fdf59d74c98bc9ccb6d9b863339",
              "address not restored: "},
    EventKind{Event::Opened, "opened", "ce7148713f6e421d9e31c48114563e35", "opened"},
    EventKind{Event::NotOpened, "not-opened", "63ffabc9e0fc4e0e9859796ecc06dd2a", "not opened: "},
    EventKind{Event::GivenUp, "gave-up", "bfa70017cf584772b83a6a27f00e36dc", "gave up "},
};

QList<QByteArray> fields(const char* messageId, const char* name, const QString& guid) {
    QList<QByteArray> all{QByteArray("MESSAGE_ID=") + messageId,
                          QByteArray("REHOME_EVENT=") + name};
    if (!guid.isEmpty())
        all += "REHOME_GUID=" + guid.toLatin1();
    return all;
}

} // namespace

QString textOf(const LogLine& line) {
    return (line.Summary ? Summary : QString()) +
           (line.Mailbox.isEmpty() ? line.Text : line.Mailbox + u": "_s + line.Text);
}

std::optional<LogLine> parsedLogLine(const QString& line) {
    static const QRegularExpression form(
        u"^# (\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d(?:[+-]\\d\\d:\\d\\d)?) (summary: )?"
        "(?:(.*? \\{[0-9A-F]{8}(?:-[0-9A-F]{4}){3}-[0-9A-F]{12}\\}): )?(.*)$"_s);
    const auto match = form.match(line);
    if (!match.hasMatch())
        return std::nullopt;
    return LogLine{match.captured(1), match.captured(3), match.captured(4),
                   match.hasCaptured(2) && match.hasCaptured(3)};
}

const EventKind& kindOf(Event event) {
    return *std::find_if(Kinds.begin(), Kinds.end(),
                         [&](const auto& kind) { return kind.event == event; });
}

std::optional<Event> eventOf(const LogLine& line) {
    for (const EventKind& kind : Kinds)
        if (*kind.words && !line.Summary && line.Text.startsWith(QLatin1String(kind.words)))
            return kind.event;
    return std::nullopt;
}

QString storeOf(Event event, const QString& text) {
    const QString named = text.sliced(qMin(text.size(), qsizetype(qstrlen(kindOf(event).words))));
    if (event == Event::NotCreated || event == Event::CreationUnanswered)
        return named.section(u": "_s, 0, 0);
    if (event != Event::Dropped && event != Event::Created)
        return {};
    // "NAME at SERVER", and a store's name can hold " at " too, but no server's name holds "=".
    const qsizetype end = named.lastIndexOf(" at "_L1);
    return end < 0 || named.indexOf(u'=', end) >= 0 ? named : named.left(end);
}

QList<QByteArray> fieldsOf(const LogLine& line, std::optional<Event> event) {
    const QString guid = line.Mailbox.right(37).chopped(line.Mailbox.isEmpty() ? 0 : 1);
    if (!event)
        return fields("10b354ce11314acf9a80e36a2e3e0d66", "summary", guid);
    auto all = fields(kindOf(*event).messageId, kindOf(*event).name, guid);
    if (const QString store = storeOf(*event, line.Text); !store.isEmpty())
        all += "REHOME_STORE=" + store.toUtf8();
    return all;
}

QList<QByteArray> fieldsOfRecord(const QByteArray& guid) {
    return fields("11f28031db59479aa75e840d8b6d5fc1", "record",
                  platform::guidFromOctets(guid).toString(QUuid::WithoutBraces).toUpper());
}

} // namespace rehome::journal
