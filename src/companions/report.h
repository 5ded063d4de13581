#pragma once

#include "platform/engine/engine.h"

#include <QString>
#include <QStringList>

namespace rehome::companions {

/// What rehome-check prints: LDIF that remedies what was found, and comments for everything else.
/// A line that is still to be completed, such as "displayName ???", is refused by ldapmodify.
class Report {
public:
    /// A comment; each text is a line or, if it holds line feeds, several.
    void remark(const QStringList& lines);
    /// Something that must be fixed, and what else there is to know.
    void finding(const QStringList& lines);
    /// Ends what a finding or a remark says.
    void blank();

    /// `change` is "add" or "replace". `placeholder` stands for the value that is to be chosen.
    void remedy(const engine::Entry& object, const QString& change, const QString& attribute,
                const QStringList& hints = {}, const QString& placeholder = {});
    void rename(const engine::Entry& object);

    int findings() const { return m_findings; }
    bool hasRemedies() const { return m_hasRemedies; }

private:
    int m_findings = 0;
    bool m_hasRemedies = false;
};

/// The text with what cannot be seen spelt out, such as "<U+200F>".
QString spelt(const QString& text);

} // namespace rehome::companions
