// The JSON form of values, through nlohmann::json. The mapping:
//   null <-> null; number <-> number; symbol <-> string (true and false read as the symbols True and
//   False); string <-> {"$string": text}; variable <-> {"$variable": name}; list <-> array, a null
//   element <-> null, a dotted list <-> {"$list": [elements], "$rest": value}; set <-> {"$set": [values]};
//   association <-> {"$association": [key, value]}; bundle <-> object (wrapped as {"$bundle": object} when a
//   key starts with "$"); file value <-> {"$file": name}.
#pragma once

#include "zt.h"

namespace zt {

// Calls each for every JSON value of the input (values separated by white space, as in JSON Lines).
// Bad JSON, a text that is no symbol, an unknown "$" member or a number that a double cannot hold exactly
// (refused unless lossy) throws Failure (exit 1).
void ForEachJsonValue(const Input& input, const std::function<void(const ZtBase::CGeneric&)>& each,
                      bool lossy = false);

}  // namespace zt
