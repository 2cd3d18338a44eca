#pragma once

// Random numbers that depend on nothing but a seed and a position, so that any case of a study can be drawn
// without those before it, and comes out the same from every compiler and standard library.

#include <cstdint>

namespace study {

/// Returns 64 bits that are as good as independent for different arguments. Mixes by the finaliser of
/// SplitMix64. Source: G. L. Steele, D. Lea, C. H. Flood, Proc. OOPSLA 2014, 453.
/// @param stream  which of the sequences of a seed
/// @param index   position in the sequence
std::uint64_t random_bits(std::uint64_t seed, std::uint64_t stream, std::uint64_t index);

/// Returns the midpoint of one of 2^52 equal parts of 0 .. 1: never 0, never 1.
double unit_interval(std::uint64_t bits);

/// Returns where an index stands in a random permutation of 0 .. count - 1. Nothing is stored: the
/// permutation is a Feistel cipher on the next even number of bits, applied again until the result is below
/// `count`. Source: J. Black, P. Rogaway, CT-RSA 2002, LNCS 2271, 114.
std::uint64_t permuted(std::uint64_t index, std::uint64_t count, std::uint64_t seed, std::uint64_t stream);

/// Returns the value that a standard normal variable is below with this probability, with a relative error of
/// a few roundings. Source: M. J. Wichura, algorithm AS 241 (PPND16), Appl. Statist. 37, 477 (1988).
/// @param probability  above 0 and below 1
double normal_quantile(double probability);

}  // namespace study
