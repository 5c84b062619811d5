' A script host: the class by its ProgID, and members by their names alone. What fails is told and ends the script;
' the last line says that it came to its end.
Option Explicit

Sub Check(what, is_true)
  If is_true Then Exit Sub
  WScript.Echo "FAILED: " & what
  WScript.Quit 1
End Sub

Const codes = 8194 ' the type of an array of 16-bit numbers
Const texts = 8200
Dim adc, parent, i
Set adc = CreateObject("Brackwell.Halden_Text")
Check "name", adc.ADCName = "Halden-Text" And adc.Resolution = 16
Check "not detected yet", Not adc.Detected And adc.ChannelName(0) = ""

CheckRefusals

Check "detection: " & adc.LastError, adc.Test()
Check "channels", adc.ChannelsCount = 3 And adc.ChannelName(2) = "Column3" And VarType(adc.Ranges) = texts
adc.ChannelRange(1) = 4
i = 1
Check "indexed put", adc.ChannelRange(i) = 4 And adc.ChannelRange(0) = 0
adc.InputSizeData = 5000
adc.InputChannels = Array(2, 1)
Check "channel table", adc.InputCountChannels = 2 And VarType(adc.InputChannels) = codes
Check "room", adc.InputSizeKadrs = 5000 And adc.InputSizeData = 10000

Set parent = adc.Parent
Check "recording: " & adc.LastError, adc.StartRecord() And parent.Busy
WaitForFrames
adc.StopRecord
Check "frames: " & adc.InputCountKadrs, adc.InputCountKadrs > 30 And adc.InputCountData = 2 * adc.InputCountKadrs
Check "reading", VarType(parent.InputData) = codes And adc.InputCountKadrs = 0
WScript.Echo "script: complete"

Sub CheckRefusals()
  Dim square(1, 1), number
  number = 0
  On Error Resume Next
  adc.InputChannels = Array(0, 70000)
  CheckError "a number that is too large"
  adc.InputChannels = square
  CheckError "an array with two indexes"
  adc.GetData number, 1000, 0
  CheckError "memory that the script has not"
  number = adc.Volume
  CheckError "an unknown member"
End Sub

Sub CheckError(what)
  Check what & " is refused", Err.Number <> 0
  Err.Clear
End Sub

' Wine has no Sleep. There the wait is a message box, which press_ok.exe ends.
Sub WaitForFrames()
  On Error Resume Next
  WScript.Sleep 600
  If Err.Number = 0 Then Exit Sub
  WScript.Echo "differs: WScript.Sleep is missing"
  MsgBox "recording", 0, "script_host.vbs"
End Sub
