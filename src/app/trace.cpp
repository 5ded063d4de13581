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

QString withoutServer(const engine::Call& call) {
    using Verb = engine::Call::Verb;
    switch (call.verb) {
    case Verb::OpenSession:
        return u"session"_s;
    case Verb::Search:
        if (call.request.scope == engine::Scope::Base)
            return u"read "_s + call.object;
        return u"find %1 %2 %3"_s.arg(call.object, call.request.filter,
                                      call.request.attributes.join(u','));
    case Verb::Modify:
        return u"modify %1 %2"_s.arg(call.object, textOf(call.changes));
    case Verb::CheckServer:
        return u"server "_s + call.object;
    case Verb::GetStoreStatus:
        return u"status "_s + call.object;
    case Verb::OpenMailbox:
        return u"open "_s + call.object;
    }
    return {};
}

} // namespace

QString traceText(const engine::Call& call) {
    const QString text = withoutServer(call);
    return call.server.isEmpty() ? text : text + u" at "_s + call.server;
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
