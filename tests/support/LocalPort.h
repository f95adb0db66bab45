#pragma once

#include <netinet/in.h>

class ChildProcess;

// The address 127.0.0.1:port.
sockaddr_in Loopback(int port);
// A socket listening on a fresh port of 127.0.0.1, which goes into port.
int ListenOnLoopback(int& port);
// A TCP port on 127.0.0.1 that nothing listens on at this moment.
int FreeLocalPort();

// Waits until something listens on 127.0.0.1:port, for a few seconds at most. False when the
// process ended or the time ran out.
bool WaitUntilListening(int port, ChildProcess& process);
