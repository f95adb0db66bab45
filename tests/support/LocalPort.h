#pragma once

class ChildProcess;

// A TCP port on 127.0.0.1 that nothing listens on at this moment.
int FreeLocalPort();

// Waits until something listens on 127.0.0.1:port, for a few seconds at most. False when the
// process ended or the time ran out.
bool WaitUntilListening(int port, ChildProcess& process);
