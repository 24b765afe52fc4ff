#pragma once
// What the JSON document needs of the platform: its name, and a standard
// output that passes bytes through unchanged.

// "linux" or "windows".
const char* PlatformName();
// Standard output as a byte stream: a document written to it ends its lines
// in LF on every platform.
void SetStandardOutputBinary();
