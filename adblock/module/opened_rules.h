// What `VexlarOpen` opens.
#pragma once

#include <memory>

#include "matcher/ruleset.h"

struct VexlarRules {
  std::unique_ptr<const velmora::adblock::Ruleset> rules;
};
