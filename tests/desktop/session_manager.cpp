// A session manager for one client, speaking XSMP through libSM as desktop session managers do.
// It prints the SESSION_MANAGER address on its first line, accepts the first client, asks it to
// save itself as a manager does with every new client, and prints the restart style the client
// then asks for ("restart-style N": 0 if running, 1 anyway, 2 immediately, 3 never), then ends.
// A client that never registers leaves it waiting until it is killed.

#include <X11/SM/SMlib.h>
// After SMlib.h, which defines what it needs.
#include <X11/ICE/ICEutil.h>

#include <poll.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

bool g_done = false;

Status registerClient(SmsConn connection, SmPointer, char *previousId)
{
    std::free(previousId);
    char *id = SmsGenerateClientID(connection);
    SmsRegisterClientReply(connection, id ? id : const_cast<char *>("cliphaven-test-client"));
    std::free(id);
    SmsSaveYourself(connection, SmSaveLocal, False, SmInteractStyleNone, False);
    return 1;
}

void setProperties(SmsConn, SmPointer, int count, SmProp **properties)
{
    for (int i = 0; i < count; ++i) {
        SmProp *property = properties[i];
        if (std::strcmp(property->name, SmRestartStyleHint) == 0 && property->num_vals > 0
            && property->vals[0].length > 0) {
            std::printf("restart-style %d\n",
                        int(static_cast<unsigned char *>(property->vals[0].value)[0]));
            std::fflush(stdout);
        }
    }
    SmFreeProperty(nullptr);
    for (int i = 0; i < count; ++i)
        SmFreeProperty(properties[i]);
    std::free(properties);
}

Status newClient(SmsConn, SmPointer, unsigned long *mask, SmsCallbacks *callbacks, char **failure)
{
    *failure = nullptr;
    *mask = SmsRegisterClientProcMask | SmsInteractRequestProcMask | SmsInteractDoneProcMask
            | SmsSaveYourselfRequestProcMask | SmsSaveYourselfP2RequestProcMask
            | SmsSaveYourselfDoneProcMask | SmsCloseConnectionProcMask | SmsSetPropertiesProcMask
            | SmsDeletePropertiesProcMask | SmsGetPropertiesProcMask;
    // libSM wants every callback; those this manager has no use for do nothing.
    callbacks->register_client.callback = registerClient;
    callbacks->interact_request.callback = [](SmsConn, SmPointer, int) {};
    callbacks->interact_done.callback = [](SmsConn, SmPointer, Bool) {};
    callbacks->save_yourself_request.callback = [](SmsConn, SmPointer, int, Bool, int, Bool, Bool) {
    };
    callbacks->save_yourself_phase2_request.callback = [](SmsConn, SmPointer) {};
    callbacks->save_yourself_done.callback = [](SmsConn, SmPointer, Bool) { g_done = true; };
    callbacks->close_connection.callback = [](SmsConn, SmPointer, int, char **reasons) {
        std::free(reasons);
    };
    callbacks->set_properties.callback = setProperties;
    callbacks->delete_properties.callback = [](SmsConn, SmPointer, int, char **names) {
        std::free(names);
    };
    callbacks->get_properties.callback = [](SmsConn connection, SmPointer) {
        SmsReturnProperties(connection, 0, nullptr);
    };
    return 1;
}

// Local test clients have no ICE authority file: any host is let in.
Bool anyHost(char *)
{
    return True;
}

} // namespace

int main()
{
    char error[256] = {};
    if (!SmsInitialize("cliphaven-test", "1", newClient, nullptr, anyHost, sizeof error, error)) {
        std::fprintf(stderr, "SmsInitialize: %s\n", error);
        return 1;
    }
    int count = 0;
    IceListenObj *listeners = nullptr;
    if (!IceListenForConnections(&count, &listeners, sizeof error, error)) {
        std::fprintf(stderr, "IceListenForConnections: %s\n", error);
        return 1;
    }
    for (int i = 0; i < count; ++i)
        IceSetHostBasedAuthProc(listeners[i], anyHost);
    char *address = IceComposeNetworkIdList(count, listeners);
    std::printf("%s\n", address);
    std::fflush(stdout);
    std::free(address);

    std::vector<IceConn> connections;
    while (!g_done) {
        std::vector<pollfd> fds;
        for (int i = 0; i < count; ++i)
            fds.push_back({IceGetListenConnectionNumber(listeners[i]), POLLIN, 0});
        for (IceConn connection : connections)
            fds.push_back({IceConnectionNumber(connection), POLLIN, 0});
        if (poll(fds.data(), fds.size(), -1) < 0)
            return 1;
        for (int i = 0; i < count; ++i) {
            if (!(fds[i].revents & POLLIN))
                continue;
            IceAcceptStatus status;
            IceConn connection = IceAcceptConnection(listeners[i], &status);
            if (!connection)
                continue;
            // The ICE handshake, then the client's first messages.
            IceConnectStatus state;
            while ((state = IceConnectionStatus(connection)) == IceConnectPending)
                IceProcessMessages(connection, nullptr, nullptr);
            if (state == IceConnectAccepted)
                connections.push_back(connection);
            else
                IceCloseConnection(connection);
        }
        for (std::size_t j = 0; j < connections.size(); ++j) {
            if (fds[count + j].revents & (POLLIN | POLLHUP)) {
                if (IceProcessMessages(connections[j], nullptr, nullptr)
                    == IceProcessMessagesIOError) {
                    IceCloseConnection(connections[j]);
                    connections.erase(connections.begin() + long(j));
                    break;
                }
            }
        }
    }
    return 0;
}
