// Runs a peer's benchmarks on a thread with a 4 GiB stack. The peers walk their IR
// recursively, one level per statement of a body (a body is a chain of nested
// blocks or a list whose walkers recurse), which needs far more than the default
// stack at a million statements. The stack is only reserved; pages are used as
// the recursion reaches them, and stay with the thread for later repetitions.
#pragma once

#include <pthread.h>

#include <cstdio>
#include <cstring>
#include <functional>

namespace bench {

constexpr unsigned long kBigStackBytes = 4ul << 30;

inline int runOnBigStack(std::function<int()> body)
{
    struct Call {
        std::function<int()> body;
        int result = 1;
    } call{std::move(body)};
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    int error = pthread_attr_setstacksize(&attributes, kBigStackBytes);
    pthread_t thread;
    if (error == 0) {
        error = pthread_create(
            &thread, &attributes,
            [](void* argument) -> void* {
                auto* c = static_cast<Call*>(argument);
                c->result = c->body();
                return nullptr;
            },
            &call);
    }
    pthread_attr_destroy(&attributes);
    if (error != 0) {
        std::fprintf(stderr, "cannot start a thread with a %lu-byte stack: %s\n", kBigStackBytes, std::strerror(error));
        return 1;
    }
    pthread_join(thread, nullptr);
    return call.result;
}

} // namespace bench
