#include "platform/blocking_call.h"

#include "platform/error.h"

#include <pthread.h>
#include <sys/eventfd.h>

#include <cerrno>
#include <csignal>
#include <system_error>

namespace rehome::platform {

namespace {

/// Enough for libkrb5 and OpenSSL, and too little for the kernel to back a stack with a huge page.
constexpr size_t StackSize = 1024 * 1024;

struct Attributes {
    pthread_attr_t value{};
    Attributes() { pthread_attr_init(&value); }
    ~Attributes() { pthread_attr_destroy(&value); }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;
};

[[noreturn]] void refuse(int error) {
    throw Error(QStringLiteral("This computer has no thread or file descriptor left: %1.")
                    .arg(QString::fromStdString(std::system_category().message(error))));
}

void* run(void* body) {
    const std::unique_ptr<std::function<void()>> owned(static_cast<std::function<void()>*>(body));
    (*owned)();
    return nullptr;
}

} // namespace

void runDetached(std::function<void()> body) {
    Attributes attributes;
    pthread_attr_setdetachstate(&attributes.value, PTHREAD_CREATE_DETACHED);
    pthread_attr_setstacksize(&attributes.value, StackSize);
    // Signals are for the thread that can end the program.
    sigset_t all;
    sigfillset(&all);
    pthread_attr_setsigmask_np(&attributes.value, &all);
    auto owned = std::make_unique<std::function<void()>>(std::move(body));
    pthread_t thread{};
    if (const int error = pthread_create(&thread, &attributes.value, run, owned.get()); error != 0)
        refuse(error);
    static_cast<void>(owned.release()); // the thread's
}

int makeEvent(bool readable) {
    const int event = eventfd(readable ? 1 : 0, EFD_CLOEXEC);
    if (event < 0)
        refuse(errno);
    return event;
}

} // namespace rehome::platform
