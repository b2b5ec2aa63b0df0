#pragma once

class CSettings;

// What the client list needs of the server, and nothing more.
class ClientListHost {
  public:
    virtual ~ClientListHost() = default;
    // The row limit, the log file and the display switch.
    virtual const CSettings& Settings() const = 0;
    // Number of clients on the table of the current listening socket.
    virtual int ClientCount() const = 0;
    // The server's share of the 5000 ms tick: housekeeping of every client, then the priority
    // pass.
    virtual void Tick() = 0;
};
