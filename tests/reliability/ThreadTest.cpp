// Several threads using the library at once, each context used by one thread at a time.
// The tsan preset runs these under ThreadSanitizer.
#include "ir/sxir.hpp"
#include "tests/reliability/Samples.hpp"
#include "tests/support/Environments.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <thread>
#include <vector>

namespace {

using sxir_test::ContextPtr;
using sxir_test::makeContext;

unsigned const sThreads = 4;
unsigned const sRounds = 10;

/// What one thread found; threads only record, the test thread asserts.
struct Outcome {
    unsigned long checks = 0;
    std::vector<std::string> problems;

    void expect(bool ok, std::string const& what)
    {
        ++checks;
        if (!ok) {
            problems.push_back(what);
        }
    }
};

/// The samples and their golden texts, read before any thread starts.
struct Samples {
    std::vector<std::string> names = sxir_test::sampleNames();
    std::vector<std::string> texts = sxir_test::goldenTexts(names);
};

/// Runs `body(t, outcome of t)` on sThreads threads at once and waits for them all.
void runThreads(std::vector<Outcome>& outcomes, std::function<void(unsigned, Outcome&)> const& body)
{
    std::vector<std::thread> threads;
    for (unsigned t = 0; t < sThreads; ++t) {
        threads.emplace_back([&body, &outcome = outcomes[t], t] { body(t, outcome); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

void expectClean(std::vector<Outcome> const& outcomes, unsigned long checksPerThread)
{
    for (unsigned t = 0; t < sThreads; ++t) {
        EXPECT_EQ(outcomes[t].checks, checksPerThread) << "thread " << t;
        for (std::string const& problem : outcomes[t].problems) {
            ADD_FAILURE() << "thread " << t << ": " << problem;
        }
    }
}

/// Clones `module` into a context of its own, hoists both, and compares both texts with the golden one.
void finish(sxir::Module& module, Samples const& samples, std::size_t sample, Outcome& outcome)
{
    sxir_test::ThrowingEnvironment env;
    ContextPtr other = makeContext(env);
    auto& copy = static_cast<sxir::Module&>(*other->getGlobalScope().copyGenericItemIn(module));
    // No sample has an assignment common to both branches, so hoisting keeps the text.
    sxir::CodeHoistor().analyze(module);
    sxir::CodeHoistor().analyze(copy);
    outcome.expect(module.asString() == samples.texts[sample], samples.names[sample] + ": the module");
    outcome.expect(copy.asString() == samples.texts[sample], samples.names[sample] + ": its copy");
}

TEST(Threads, EachThreadBuildsClonesHoistsAndPrintsInContextsOfItsOwn)
{
    Samples const samples;
    std::size_t const count = samples.names.size();
    std::vector<Outcome> outcomes(sThreads);
    runThreads(outcomes, [&](unsigned t, Outcome& outcome) {
        sxir_test::ThrowingEnvironment env;
        for (unsigned round = 0; round < sRounds; ++round) {
            // Each thread starts at another sample, so different samples are built at once.
            for (std::size_t k = 0; k < count; ++k) {
                std::size_t const i = (k + 3 * t) % count;
                ContextPtr context = makeContext(env);
                finish(*sxir::TestCatalog::get()->createModule(samples.names[i], *context), samples, i, outcome);
            }
        }
    });
    expectClean(outcomes, 2 * sRounds * count);
}

TEST(Threads, ContextsBuiltOnOneThreadAreFinishedAndDeletedOnAnother)
{
    // Each thread builds a batch of samples; then thread t finishes and deletes the batch
    // of thread t+1, so IR storage is released by another thread than the one that took it.
    Samples const samples;
    std::size_t const count = samples.names.size();
    sxir_test::ThrowingEnvironment env;
    std::vector<std::vector<ContextPtr>> batches(sThreads);
    std::vector<Outcome> built(sThreads);
    runThreads(built, [&](unsigned t, Outcome& outcome) {
        for (unsigned long j = 0; j < sRounds * count; ++j) {
            batches[t].push_back(makeContext(env));
            sxir::Module* module = sxir::TestCatalog::get()->createModule(samples.names[j % count], *batches[t].back());
            outcome.expect(module->asString() == samples.texts[j % count], samples.names[j % count] + ": as built");
        }
    });
    expectClean(built, sRounds * count);
    std::vector<Outcome> finished(sThreads);
    runThreads(finished, [&](unsigned t, Outcome& outcome) {
        std::vector<ContextPtr>& batch = batches[(t + 1) % sThreads];
        for (unsigned long j = 0; j < batch.size(); ++j) {
            finish(static_cast<sxir::Module&>(*batch[j]->getGlobalScope().getGenericScopeItem(0)), samples, j % count,
                   outcome);
            batch[j].reset();
        }
    });
    expectClean(finished, 2 * sRounds * count);
}

} // namespace
