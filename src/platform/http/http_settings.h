#pragma once

#include <QtGlobal>

#include <chrono>

namespace rehome::http {

struct HttpSettings {
    /// For one attempt, the look-up of the server's name included. (A Kerberos ticket for the
    /// server is fetched within it, under the limits of the Kerberos library alone.)
    std::chrono::milliseconds attemptLimit{4'500};
    /// For all attempts of a round: once they have taken so long, no more are sent.
    std::chrono::milliseconds roundLimit{10'000};
    /// The longest answer that is read, in bytes, head and body together. The XML reader
    /// handles no signal, and its time grows with the square of the number of attributes: 0.03 s
    /// for such an answer, 19 s for one of 1 MB.
    qsizetype answerLimit = 32 * 1024;
};

} // namespace rehome::http
