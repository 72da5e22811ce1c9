// Small helpers for table-driven tests.
#pragma once

#include <initializer_list>
#include <string>
#include <tuple>
#include <utility>

// A table of rows, read with a structured binding in a range-for.
template <typename... T>
using Rows = std::initializer_list<std::tuple<T...>>;

// Reads are made into a value that starts as Initial<T>(), so that a refusal
// can be seen to leave it alone: compare (outcome, value) with Ok or Refused.
template <typename T>
T Initial()
{
    return T(99);
}
template <>
inline std::string Initial<std::string>()
{
    return "99";
}
template <typename T>
std::pair<bool, T> Ok(T v)
{
    return {true, v};
}
template <typename T>
std::pair<bool, T> Refused()
{
    return {false, Initial<T>()};
}
