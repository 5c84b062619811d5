#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <io.h>
#include <memory>

#include "host/commands.h"
#include "host/windows/com_adc.h"

namespace halden::host {
namespace {

/// Sets standard output to binary, so that lines end as they are written, and the console to UTF-8 and to
/// escape sequences, which redraw lines. The console's code page is put back at the end; it is the user's
/// shell's too.
class PreparedOutput {
 public:
  PreparedOutput();
  ~PreparedOutput() { SetConsoleOutputCP(code_page_); }
  PreparedOutput(const PreparedOutput&) = delete;
  PreparedOutput& operator=(const PreparedOutput&) = delete;

 private:
  const UINT code_page_ = GetConsoleOutputCP();
};

PreparedOutput::PreparedOutput() {
  _setmode(_fileno(stdout), _O_BINARY);
  SetConsoleOutputCP(CP_UTF8);
  for (const DWORD stream : {STD_OUTPUT_HANDLE, STD_ERROR_HANDLE}) {
    DWORD mode = 0;
    const HANDLE handle = GetStdHandle(stream);
    if (GetConsoleMode(handle, &mode)) SetConsoleMode(handle, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
  }
}

constexpr char kHelpOfWindows[] =
    "\n"
    "On Windows the commands are ranges, watch, record and monitor, without --registry, --answer, --cancel "
    "or\n"
    "--reconnect; --device can only be d2xx.\n";

/// An object of the component that is registered on this options.
class ComSession final : public Session {
 public:
  ComSession() {
    CLSID id{};
    void* adc = nullptr;
    if (SUCCEEDED(result_)) result_ = CLSIDFromProgID(L"Brackwell.Halden_Text", &id);
    if (SUCCEEDED(result_))
      result_ = CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, __uuidof(::IADC3), &adc);
    if (SUCCEEDED(result_)) adc_ = std::make_unique<ComAdc>(static_cast<::IADC3*>(adc));
  }
  ~ComSession() override {
    adc_.reset();
    if (SUCCEEDED(com_)) CoUninitialize();
  }
  ComSession(const ComSession&) = delete;
  ComSession& operator=(const ComSession&) = delete;

  void Serve(std::chrono::milliseconds at_most) override {
    MsgWaitForMultipleObjectsEx(0, nullptr, static_cast<DWORD>(at_most.count()), QS_ALLINPUT,
                                MWMO_INPUTAVAILABLE);
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
      TranslateMessage(&message);
      DispatchMessageW(&message);
    }
  }

  /// One line; empty if the driver is there.
  std::string WhyNotLoaded() const {
    if (SUCCEEDED(result_)) return {};
    char code[16];
    std::snprintf(code, sizeof code, "0x%08lX", static_cast<unsigned long>(result_));
    return std::string("the driver can't be loaded (") + code +
           "); is HT_TEXT.adc registered, and FTD2XX.DLL there?";
  }

 protected:
  IADC3* Object() override { return adc_.get(); }

 private:
  const HRESULT com_ = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  HRESULT result_ = com_;
  std::unique_ptr<ComAdc> adc_;
};

/// One line that says why a command or option isn't available when the driver is a COM component instead of a
/// part of this program. Empty if everything is available.
std::string WhyNotHere(const Arguments& arguments) {
  const SystemPlatformOptions& options = arguments.platform;
  const auto of_vendor = [](const std::string& device) { return device == "d2xx"; };
  if (arguments.command == Command::kDevices || arguments.command == Command::kSettings ||
      arguments.command == Command::kExplain || arguments.command == Command::kConvert)
    return "on Windows only ranges, watch, record and monitor are available";
  if (arguments.auto_ranges) return "--range auto: on Windows the component doesn't show the lines";
  if (!std::all_of(options.devices.begin(), options.devices.end(), of_vendor))
    return "--device: on Windows only d2xx is available, the vendor's library";
  if (!options.registry_file.empty())
    return "--registry: on Windows the driver keeps its settings in the system's registry";
  if (options.answer || options.cancel)
    return "--answer and --cancel: on Windows the driver's own dialog asks";
  if (arguments.reconnect) return "--reconnect: on Windows the component doesn't say when a device is gone";
  return {};
}

}  // namespace

int RunCommand(const Arguments& arguments, Progress& progress) {
  const PreparedOutput prepared;
  if (arguments.command == Command::kHelp) return Print(arguments.text + kHelpOfWindows, progress);
  if (arguments.command == Command::kRanges) return RunRanges(progress);
  if (const std::string reason = WhyNotHere(arguments); !reason.empty()) {
    progress.Fail(reason);
    return kWrongArguments;
  }
  ComSession session;
  if (const std::string reason = session.WhyNotLoaded(); !reason.empty()) {
    progress.Fail(reason);
    return kRefused;
  }
  if (arguments.command == Command::kMonitor) return RunMonitor(session, progress);
  if (arguments.command == Command::kWatch) return RunWatch(session, arguments, progress);
  return RunRecord(session, arguments, progress);
}

}  // namespace halden::host
