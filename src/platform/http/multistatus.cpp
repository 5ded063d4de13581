#include "platform/http/multistatus.h"

#include "platform/error.h"
#include "platform/shown_text.h"

#include <QXmlStreamReader>

namespace rehome::http {

using namespace Qt::Literals::StringLiterals;

namespace {

class Multistatus {
public:
    Multistatus(const QByteArray& answer, const QString& nameSpace, const QString& name)
        : m_reader(answer), m_nameSpace(nameSpace), m_name(name) {}

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
        while (m_reader.readNextStartElement()) {
            if (isDav(u"propstat"_s))
                readPropstat();
            else if (isDav(u"status"_s))
                keep({readStatus(), {}});
            else
                m_reader.skipCurrentElement();
        }
    }

    void readPropstat() {
        Property property;
        bool holds = false;
        while (m_reader.readNextStartElement()) {
            if (isDav(u"status"_s)) {
                property.status = readStatus();
            } else if (isDav(u"prop"_s)) {
                while (m_reader.readNextStartElement()) {
                    if (m_reader.namespaceUri() == m_nameSpace && m_reader.name() == m_name) {
                        holds = true;
                        property.text = m_reader.readElementText().trimmed();
                    } else {
                        m_reader.skipCurrentElement();
                    }
                }
            } else {
                m_reader.skipCurrentElement();
            }
        }
        if (holds)
            keep(property);
    }

    /// "HTTP/1.1 200 OK"
    int readStatus() { return m_reader.readElementText().section(u' ', 1, 1).toInt(); }

    void keep(const Property& property) {
        if (m_found.status != 200)
            m_found = {property.status, property.status == 200 ? property.text : QString()};
    }

    QXmlStreamReader m_reader;
    QString m_nameSpace;
    QString m_name;
    Property m_found;
};

} // namespace

Property readProperty(const QByteArray& answer, const QString& nameSpace, const QString& name) {
    return Multistatus(answer, nameSpace, name).read();
}

} // namespace rehome::http
