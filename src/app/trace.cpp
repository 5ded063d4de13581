#include "app/trace.h"

#include <QStringDecoder>

#include <algorithm>

namespace rehome::app {

using namespace Qt::Literals::StringLiterals;

Q_LOGGING_CATEGORY(traceCategory, "rehome.trace", QtWarningMsg)

namespace {

void write(int number, const QString& text) {
    qCDebug(traceCategory).noquote().nospace() << '#' << number << ' ' << text;
}

/// Returns the value as text, or in hexadecimal digits if it is none.
QString textOf(const QByteArray& value) {
    QStringDecoder decoder(QStringDecoder::Utf8);
    const QString text = decoder(value);
    const bool printable =
        !decoder.hasError() && std::all_of(text.begin(), text.end(),
                                           [](QChar c) { return c.isPrint() || c.isSurrogate(); });
    return printable ? text : u"0x"_s + QString::fromLatin1(value.toHex());
}

QString textOf(const QList<engine::Change>& changes) {
    QStringList all;
    for (const auto& [attribute, values, kind] : changes) {
        QStringList texts;
        for (const QByteArray& value : values)
            texts += textOf(value);
        all += attribute +
               (kind == engine::Change::Kind::Add      ? u"+="_s
                : kind == engine::Change::Kind::Delete ? u"-="_s
                                                       : u"="_s) +
               texts.join(u',');
    }
    return all.join(u';');
}

} // namespace

QString traceText(const engine::Call& call) {
    using Verb = engine::Call::Verb;
    static const QStringList Words{u"session"_s, u"find"_s,   u"modify"_s,
                                   u"server"_s,  u"status"_s, u"open"_s}; // in the order of Verb
    const bool isRead = call.verb == Verb::Search && call.request.scope == engine::Scope::Base;
    QStringList words{isRead ? u"read"_s : Words.at(int(call.verb))};
    if (call.verb != Verb::OpenSession)
        words += call.object;
    if (call.verb == Verb::Search && !isRead)
        words += {call.request.filter, call.request.attributes.join(u',')};
    if (call.verb == Verb::Modify)
        words += textOf(call.changes);
    if (!call.server.isEmpty())
        words += u"at "_s + call.server;
    return words.join(u' ');
}

void Trace::onStarted(int number, const engine::Call& call) {
    write(number, traceText(call));
}

void Trace::onEntry(int number, const QString& distinguishedName) {
    write(number, u"found "_s + distinguishedName);
}

void Trace::onFinished(int number, const QString& outcome) noexcept {
    write(number, outcome);
}

} // namespace rehome::app
