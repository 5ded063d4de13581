#pragma once

#include <QByteArray>

namespace rehome::journal {

/// A stream opened once more, so that writing to it need not wait: its other holders, a shell for
/// one, share its flags. Closed with this.
class Reopened {
public:
    /// Holds none if the stream is no terminal or pipe, or cannot be opened again.
    explicit Reopened(int stream);
    /// The terminal that the process belongs to; none if there is none.
    static Reopened controllingTerminal();
    ~Reopened();
    Reopened(Reopened&& other) noexcept;
    Reopened& operator=(Reopened&& other) noexcept;
    Reopened(const Reopened&) = delete;
    Reopened& operator=(const Reopened&) = delete;

    /// -1 if there is none.
    int descriptor() const { return m_descriptor; }

private:
    Reopened() = default;
    int m_descriptor = -1;
};

/// The terminal for the progress line: the one that a stream leads to, otherwise that of the
/// standard output, otherwise the controlling terminal.
class Terminal {
public:
    explicit Terminal(int stream);

    bool exists() const { return m_terminal.descriptor() >= 0; }
    /// Whether the stream leads there, too.
    bool isStream() const { return m_isStream; }
    int columns() const;
    /// Writes as much as the terminal takes at once, and nothing while the process is in its
    /// background.
    void write(const QByteArray& text) const;

private:
    bool m_isStream;
    Reopened m_terminal;
};

} // namespace rehome::journal
