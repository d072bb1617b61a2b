// Changes messages the way that broken software, broken lines and strangers do.
#pragma once

#include "fuzz/differential/corpus.h"

#include <random>

/// A message of the corpus with one to six changes. Depends on nothing but the state of `random`.
std::string mutate(const std::vector<CorpusMessage>& corpus, std::mt19937_64& random);
