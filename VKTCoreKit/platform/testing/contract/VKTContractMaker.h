// What the contract suites are instantiated with.
#pragma once

#include <functional>
#include <memory>
#include <ostream>
#include <string>

/// Makes a fresh implementation for each test; `name` is shown where one fails. The suites of this folder
/// need GoogleTest; each header is included by one source file of a test program, which instantiates it, as
///
///     INSTANTIATE_TEST_SUITE_P(Mine, VKTRunLoopContract,
///                              testing::Values(VKTRunLoopMaker{"my loop", makeMyLoop}));
template <typename Product, typename... Arguments>
struct VKTContractMaker {
    std::string name;
    std::function<Product(Arguments...)> make;

    friend void PrintTo(const VKTContractMaker& maker, std::ostream* stream) { *stream << maker.name; }
};

/// A pointer to `subject`'s `implementation` that keeps all of the subject: for one that needs more than
/// itself, such as a folder.
template <typename Subject, typename Implementation>
std::shared_ptr<Implementation> vkt_keepingSubject(const std::shared_ptr<Subject>& subject,
                                                   const std::shared_ptr<Implementation>& implementation) {
    return {subject, implementation.get()};
}
