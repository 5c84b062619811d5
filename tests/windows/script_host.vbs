' A script host, which calls members by name. The first check that fails ends the script; the last line says that all passed.
Option Explicit

Sub Check(what, is_true)
  If is_true Then Exit Sub
  WScript.Echo "FAILED: " & what
  WScript.Quit 1
End Sub

Const codes = 8194 ' vbArray + vbInteger: an array of 16-bit numbers
Dim adc, parent, i, refusal
Set adc = CreateObject("Brackwell.Halden_Text")
Check "name", adc.adcNAME = "Halden-Text" And adc.Resolution = 16
Check "detection: " & adc.LastError, adc.Test()
Check "channels", adc.ChannelsCount = 3 And adc.ChannelName(2) = "Column3"
i = 1
adc.ChannelRange(1) = "4"
Check "indexed put", adc.ChannelRange(i) = 4 And adc.ChannelRange(0) = 0
adc.InputSizeData = 5000
adc.InputChannels = Array(2, 1)
On Error Resume Next
adc.InputChannels = Array(70000, 0)
refusal = Err.Number
On Error Goto 0
Check "a code that is too large", refusal <> 0
Check "channel table", adc.InputCountChannels = 2 And VarType(adc.InputChannels) = codes

Set parent = adc.Parent
Check "recording: " & adc.LastError, adc.StartRecord() And parent.Busy And adc.InputSizeKadrs = 5000
MsgBox "serves messages until press_ok.exe ends it", 0, "script_host.vbs"
adc.StopRecord
Check "frames: " & adc.InputCountKadrs, adc.InputCountKadrs > 30 And adc.InputCountData = 2 * adc.InputCountKadrs
Check "reading", VarType(parent.InputData) = codes And adc.InputCountKadrs = 0
WScript.Echo "script: complete"
