// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <utility>
#include <variant>

namespace lanternfold {

/// The value of an operation that succeeds with nothing to return. Deliberately not
/// std::monostate: QCoro keeps a task's result in a variant whose first alternative is
/// std::monostate, so co_returning one would read as "no result" there.
struct Done
{
    bool operator==(const Done &) const = default;
};

/// Either a value or an error; the project's own stand-in for std::expected, which Debian's
/// clang cannot compile against libstdc++ 12.
template <typename T, typename E>
class [[nodiscard]] Result final
{
public:
    Result(T value) : m_data(std::in_place_index<0>, std::move(value)) {} // NOLINT(google-explicit-constructor)
    Result(E error) : m_data(std::in_place_index<1>, std::move(error)) {} // NOLINT(google-explicit-constructor)

    [[nodiscard]] bool ok() const { return m_data.index() == 0; }
    explicit operator bool() const { return ok(); }

    [[nodiscard]] const T &value() const & { return std::get<0>(m_data); }
    [[nodiscard]] T &value() & { return std::get<0>(m_data); }
    [[nodiscard]] T &&value() && { return std::get<0>(std::move(m_data)); }
    [[nodiscard]] const E &error() const & { return std::get<1>(m_data); }
    [[nodiscard]] E &&error() && { return std::get<1>(std::move(m_data)); }

    bool operator==(const Result &) const = default;

private:
    std::variant<T, E> m_data;
};

} // namespace lanternfold
