#include "host/session.h"

#include "host/fixed.h"

namespace halden::host {

Session::Session(Machine& machine)
    : machine_(machine), apartment_(machine.platform()), adc_(apartment_.CreateObject()) {}

bool Session::Detect(Progress& progress) {
  if (!adc_) {
    progress.Fail("the driver could not be loaded");
    return false;
  }
  progress.Hint("Looking for a device ...");
  if (!adc_->Test()) {
    progress.Fail(WhyNotDetected());
    return false;
  }
  const int channels = adc_->ChannelsCount();
  progress.Say("Found COM" + std::to_string(adc_->BasePort()) + " with " + std::to_string(channels) +
               (channels == 1 ? " channel" : " channels") + ", at most " + Short(adc_->RateMax(), 1) +
               " frames a second");
  return true;
}

std::string Session::WhyNotDetected() {
  std::string reason = adc_->LastError();
  if (!reason.empty()) return reason;
  const auto failures = machine_.OpenFailures();
  std::string tried;
  for (std::size_t i = 0; i < failures.size(); ++i) {
    tried += (i ? "; " : "") + std::string("device ") + std::to_string(i) + ": ";
    tried += failures[i].empty() ? "no lines of numbers came" : failures[i];
  }
  return "no device was recognised and the port dialog named none (" + tried + ")";
}

}  // namespace halden::host
