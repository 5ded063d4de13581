#pragma once

#include "platform/computer_name.h"

#include <QtGlobal>

#include <chrono>

namespace rehome::http {

struct HttpSettings {
    /// For one attempt, the look-up of the server's name included. (A Kerberos ticket for the
    /// server is fetched within it, under the limits of the Kerberos library alone.)
    std::chrono::milliseconds attemptLimit{4'500};
    /// For what a round waits in all: then no more is sent in it, and an answer that is still to
    /// come is taken in a later round. A little longer than a connection.
    std::chrono::milliseconds roundLimit{1'100};
    /// For a connection to another computer, name look-up and TLS included. Destinations are local:
    /// others are asked only for mailboxes whose move failed.
    std::chrono::milliseconds connectLimit{1'000};
    /// How long a server is left alone that has kept a round waiting and given no answer. A request
    /// that takes longer is given up.
    std::chrono::milliseconds silenceLimit{30'000};
    /// The longest answer that is read, in bytes, head and body together. The XML reader
    /// handles no signal, and its time grows with the square of the number of attributes: 0.03 s
    /// for such an answer, 19 s for one of 1 MB.
    qsizetype answerLimit = 32 * 1024;
    /// The Exchange server that this computer is.
    QString localServer = platform::computerName();
};

} // namespace rehome::http
