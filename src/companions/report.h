#pragma once

#include "platform/engine/engine.h"

#include <QString>
#include <QStringList>

namespace rehome::companions {

/// What rehome-check prints: LDIF that fixes what was found, and comments for everything else.
/// ldapmodify refuses a line that is still to be completed, such as "displayName ???".
class Report {
public:
    /// Prints a comment; a text with line feeds becomes several lines.
    void remark(const QStringList& lines);
    /// Prints a comment about something that must be fixed, and counts it.
    void finding(const QStringList& lines);
    /// Prints an empty line, which ends a finding or a remark.
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

/// Returns the text with invisible characters spelt out, such as "<U+200F>".
QString spelt(const QString& text);

} // namespace rehome::companions
