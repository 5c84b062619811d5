#include "host/session.h"

#include "host/decimal_text.h"

namespace halden::host {

bool Session::Detect(Progress& progress) {
  if (!Object()) {
    progress.Fail("the driver could not be loaded");
    return false;
  }
  progress.Hint("Looking for a device ...");
  const bool found = Find(progress);
  for (const std::string& notice : TakeNotices()) progress.Fail(notice);
  if (!found) {
    SayWhyNot(progress);
    return false;
  }
  const int channels = Adc().ChannelsCount();
  progress.Say("Found " + KindOfDevice() + "COM" + std::to_string(Adc().BasePort()) + " with " +
               std::to_string(channels) + (channels == 1 ? " channel" : " channels") + ", at most " +
               Trimmed(Adc().RateMax(), 1) + " frames a second");
  return true;
}

std::string Session::RateText() {
  return "Rate " + Fixed(Adc().Rate(), 1);
}

void Session::SayWhyNot(Progress& progress) {
  const std::string reason = Adc().LastError();
  const auto tried = WhyNotRecognised();
  if (!reason.empty())
    progress.Fail(reason);
  else if (tried.empty())
    progress.Fail("no device was recognised, and none was chosen in the port dialog");
  for (const std::string& line : reason.empty() ? tried : std::vector<std::string>()) progress.Fail(line);
}

}  // namespace halden::host
