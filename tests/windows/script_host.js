// JScript's arrays are objects.
var adc = new ActiveXObject("Brackwell.Halden_Text"), refused = 0, bad = [[0, 1.5], [0, 70000], [0, "x"], {}, 5];
adc.InputChannels = [2, 1.0, "0", 1];
for (var i in bad) {
  try { adc.InputChannels = bad[i]; } catch (error) { ++refused; }
}
WScript.Echo("script: " + adc.InputCountChannels + " channels, " + refused + " refused");
