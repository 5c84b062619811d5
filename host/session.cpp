#include "host/session.h"

#include "host/decimal_text.h"

namespace halden::host {

bool Session::Detect(Progress& progress) {
  if (!Object()) {
    progress.Fail("the driver could not be loaded");
    return false;
  }
  progress.Hint("Looking for a device ...");
  if (!Adc().Test()) {
    progress.Fail(WhyNotDetected());
    return false;
  }
  const int channels = Adc().ChannelsCount();
  progress.Say("Found COM" + std::to_string(Adc().BasePort()) + " with " + std::to_string(channels) +
               (channels == 1 ? " channel" : " channels") + ", at most " + Trimmed(Adc().RateMax(), 1) +
               " frames a second");
  return true;
}

std::string Session::WhyNotDetected() {
  std::string reason = Adc().LastError();
  if (!reason.empty()) return reason;
  const std::string tried = WhatWasTried();
  return "no device was recognised and the port dialog named none" +
         (tried.empty() ? "" : " (" + tried + ")");
}

}  // namespace halden::host
