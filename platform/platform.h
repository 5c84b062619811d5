#pragma once

#include "platform/clock.h"
#include "platform/comm_config.h"
#include "platform/d2xx.h"
#include "platform/number_rules.h"
#include "platform/registry_api.h"
#include "platform/text_resources.h"
#include "platform/toolkit.h"

namespace halden {

/// Everything that the driver needs from the system it runs on. The referenced backends must outlive every
/// driver built on them.
struct Platform {
  D2xx& d2xx;
  CommConfigApi& comm_config;
  RegistryApi& registry;
  Clock& clock;
  NumberRules& number_rules;
  TextResources& texts;
  Toolkit& toolkit;
};

}  // namespace halden
