#include "platform/http/multistatus.h"

#include "platform/error.h"
#include "platform/shown_text.h"

#include <QUrl>
#include <QXmlStreamReader>

#include <utility>

namespace rehome::http {

using namespace Qt::Literals::StringLiterals;

namespace {

class Multistatus {
public:
    Multistatus(const QByteArray& answer, const Question& question)
        : m_reader(answer), m_question(question) {}

    Property read() {
        readRoot();
        while (m_reader.readNextStartElement()) {
            if (isDav(u"response"_s))
                readResponse();
            else
                m_reader.skipCurrentElement();
        }
        while (!m_reader.atEnd())
            m_reader.readNext();
        requireWellFormed();
        if (!m_isOwn)
            throw Error(u"its answer is about \"%1\", which is not this mailbox"_s.arg(
                platform::remoteText(m_other)));
        return m_found;
    }

private:
    bool isDav(const QString& name) const {
        return m_reader.namespaceUri() == "DAV:"_L1 && m_reader.name() == name;
    }

    void requireWellFormed() const {
        if (m_reader.hasError())
            throw Error(u"its answer is not well-formed XML of a known kind (line %1: %2)"_s
                            .arg(m_reader.lineNumber())
                            .arg(platform::remoteText(m_reader.errorString())));
    }

    void readRoot() {
        while (!m_reader.atEnd() && !m_reader.isStartElement()) {
            m_reader.readNext();
            // It could declare entities; without it, there are none to expand.
            if (m_reader.isDTD())
                throw Error(u"its answer has a document type, which is refused"_s);
        }
        requireWellFormed();
        if (!isDav(u"multistatus"_s))
            throw Error(u"its answer is \"%1\" and no multistatus"_s.arg(
                platform::remoteText(m_reader.name().toString())));
    }

    void readResponse() {
        const Property before = std::exchange(m_found, {});
        bool isOwn = false;
        while (m_reader.readNextStartElement()) {
            if (isDav(u"propstat"_s))
                readPropstat();
            else if (isDav(u"status"_s))
                keep({readStatus(), {}});
            else if (isDav(u"href"_s))
                isOwn = isOwnResource(m_reader.readElementText()) || isOwn;
            else
                m_reader.skipCurrentElement();
        }
        const Property found = std::exchange(m_found, before);
        if (isOwn)
            keep(found);
        m_isOwn = m_isOwn || isOwn;
    }

    bool isOwnResource(const QString& href) {
        m_other = href.trimmed();
        // Decoded after it has been taken apart: a name may hold an encoded slash.
        const QString name =
            QUrl(m_other).path(QUrl::FullyEncoded).section(u'/', -1, -1, QString::SectionSkipEmpty);
        return m_question.isOwn(QUrl::fromPercentEncoding(name.toLatin1()));
    }

    void readPropstat() {
        Property property;
        QStringList texts;
        while (m_reader.readNextStartElement()) {
            if (isDav(u"status"_s)) {
                property.status = readStatus();
            } else if (isDav(u"prop"_s)) {
                while (m_reader.readNextStartElement()) {
                    if (m_reader.namespaceUri() == m_question.nameSpace &&
                        m_question.names.contains(m_reader.name()))
                        texts += m_reader.readElementText().trimmed();
                    else
                        m_reader.skipCurrentElement();
                }
            } else {
                m_reader.skipCurrentElement();
            }
        }
        for (const QString& text : std::as_const(texts))
            keep({property.status, property.status == 200 ? text : QString()});
    }

    /// "HTTP/1.1 200 OK"
    int readStatus() { return m_reader.readElementText().section(u' ', 1, 1).toInt(); }

    /// A text comes before all else, and any other status before 404.
    void keep(const Property& property) {
        if (property.status != 0 && m_found.text.isEmpty() &&
            (!property.text.isEmpty() || m_found.status == 0 || m_found.status == 404))
            m_found = property;
    }

    QXmlStreamReader m_reader;
    const Question& m_question;
    Property m_found;
    bool m_isOwn = false; ///< a response was about the resource
    QString m_other;      ///< what the last one was about
};

} // namespace

Property readProperty(const QByteArray& answer, const Question& question) {
    return Multistatus(answer, question).read();
}

} // namespace rehome::http
