// As much of RapidCheck as the properties here use, for targets that it is not built for: the same generators, and
// the same number of cases, the same on every machine. A failing case is printed as it was drawn, not made smaller.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <random>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace rc {

constexpr int kNominalSize = 100;

struct Discarded {};

namespace plain {

// What the cases are drawn from. A case is determined by its number.
struct Source {
    std::mt19937_64 engine;
    int size = 0;
    std::vector<std::string>* drawn = nullptr;  // where what is drawn is noted down

    std::uint64_t below(std::uint64_t bound) { return engine() % bound; }
};

inline Source& source()
{
    static Source the_source;
    return the_source;
}

}  // namespace plain

template <typename T>
class Gen {
public:
    explicit Gen(std::function<T(int size)> make) : make_(std::move(make)) {}
    T at(int size) const { return make_(size); }
    T operator*() const
    {
        plain::Source& source = plain::source();
        T value = make_(source.size);
        if (source.drawn != nullptr) source.drawn->push_back(testing::PrintToString(value));
        return value;
    }

private:
    std::function<T(int size)> make_;
};

namespace gen {

template <typename T>
Gen<T> arbitrary()
{
    static_assert(std::is_same_v<T, bool>, "nothing else is asked for");
    return Gen<T>([](int) { return plain::source().below(2) == 1; });
}

template <typename T>
Gen<std::decay_t<T>> just(const T& value)
{
    return Gen<std::decay_t<T>>([value = std::decay_t<T>(value)](int) { return value; });
}

// From `first` to before `end`; below the nominal size not far from `first`.
inline Gen<int> inRange(int first, int end)
{
    return Gen<int>([=](int size) {
        const std::int64_t whole = std::int64_t{end} - first;
        const std::int64_t reach = size >= kNominalSize ? whole : 1 + (whole - 1) * size / kNominalSize;
        return static_cast<int>(
            first + static_cast<std::int64_t>(plain::source().below(static_cast<std::uint64_t>(reach))));
    });
}

template <typename T>
Gen<T> resize(int size, const Gen<T>& gen)
{
    return Gen<T>([=](int) { return gen.at(size); });
}

template <typename T, typename Function>
auto map(const Gen<T>& gen, Function function)
{
    using Result = std::decay_t<std::invoke_result_t<Function, T>>;
    return Gen<Result>([=](int size) { return function(gen.at(size)); });
}

template <typename Container>
auto elementOf(const Container& container)
{
    using Element = std::decay_t<decltype(*container.begin())>;
    return Gen<Element>(
        [=](int) { return container[static_cast<std::size_t>(plain::source().below(container.size()))]; });
}

template <typename T, typename... Others>
Gen<T> oneOf(const Gen<T>& first, const Others&... others)
{
    return Gen<T>([all = std::vector<Gen<T>>{first, others...}](int size) {
        return all[static_cast<std::size_t>(plain::source().below(all.size()))].at(size);
    });
}

template <typename Container, typename T>
Gen<Container> container(std::size_t count, const Gen<T>& gen)
{
    return Gen<Container>([=](int size) {
        Container result;
        for (std::size_t index = 0; index < count; ++index)
            result.push_back(gen.at(size));
        return result;
    });
}

template <typename Container, typename T>
Gen<Container> container(const Gen<T>& gen)
{
    return Gen<Container>([=](int size) {
        const std::uint64_t count = plain::source().below(static_cast<std::uint64_t>(size) + 1);
        return container<Container>(static_cast<std::size_t>(count), gen).at(size);
    });
}

// What the function makes of what it draws.
template <typename Function>
auto exec(Function function)
{
    using Result = std::decay_t<std::invoke_result_t<Function>>;
    return Gen<Result>([=](int size) {
        plain::Source& source = plain::source();
        const int size_before = std::exchange(source.size, size);
        Result result = function();
        source.size = size_before;
        return result;
    });
}

template <typename T>
Gen<T> nonEmpty(const Gen<T>& gen)
{
    return Gen<T>([=](int size) {
        for (;; ++size) {
            T value = gen.at(size);
            if (!value.empty()) return value;
        }
    });
}

}  // namespace gen

namespace plain {

// An empty text: the case holds. The source is set so that the case can be drawn again.
template <typename Property>
std::string failure_of(Property property, unsigned number, int size, bool& discarded)
{
    source().engine.seed(number);
    source().size = size;
    discarded = false;
    try {
        property();
    } catch (const Discarded&) {
        discarded = true;
    } catch (const std::exception& failure) {
        return failure.what();
    }
    return {};
}

template <typename Property>
void check(Property property)
{
    constexpr int kCases = 1000;
    constexpr int kLargest = 300;
    unsigned number = 2107;
    int discards = 0;
    for (int held = 0; held < kCases; ++number) {
        const int size = held * kLargest / (kCases - 1);
        bool discarded = false;
        const std::string failure = failure_of(property, number, size, discarded);
        if (!failure.empty()) {
            std::vector<std::string> drawn;
            source().drawn = &drawn;
            failure_of(property, number, size, discarded);
            source().drawn = nullptr;
            std::string text = failure;
            for (const std::string& value : drawn)
                text += "\ndrawn: " + value;
            FAIL() << text;
        }
        if (!discarded) {
            ++held;
        } else if (++discards > 10 * kCases) {
            FAIL() << "only " << held << " cases were not discarded";
        }
    }
}

}  // namespace plain
}  // namespace rc

#define RC_ASSERT(condition)                                                                                 \
    do {                                                                                                     \
        if (!(condition))                                                                                    \
            throw std::runtime_error(std::string(__FILE__) + ":" + std::to_string(__LINE__) +                \
                                     ": " #condition);                                                       \
    } while (false)

#define RC_PRE(condition)                                                                                    \
    do {                                                                                                     \
        if (!(condition)) throw rc::Discarded{};                                                             \
    } while (false)

// How often a case was of a kind is RapidCheck's to tell.
#define RC_CLASSIFY(condition, ...) static_cast<void>(condition)
