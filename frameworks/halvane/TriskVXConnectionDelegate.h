#pragma once

class TriskVXConnection;

// Told when the connection to the scheduler service becomes invalid.
class TriskVXConnectionDelegate
{
public:
    virtual ~TriskVXConnectionDelegate() = default;
    virtual void connectionDidInvalidate(TriskVXConnection *connection) = 0;
};
