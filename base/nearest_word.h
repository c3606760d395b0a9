// The word that a misspelt word probably stands for.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace ulix {

// The candidate nearest to the typed word; empty when none is near. Case is ignored, and '_' and ' ' count as '-'. A
// candidate is near when it begins with the typed word (three letters or more), or when at most one letter in three is
// wrong, missing, added or swapped with its neighbour. Words of more than 64 letters have no nearest word.
std::string NearestWord(std::string_view typed, std::span<const std::string> candidates);

}  // namespace ulix
