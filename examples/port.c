/* port PORT: changes the service's port. A record is read, changed and written back under the mutex of all changes, so
   that nobody else's change of the same record is lost. In C. */
#include <wdltcfg/wdltcfg.h>

#include <stdio.h>
#include <stdlib.h>

/* Of libWdltPlatform.so, whose headers are for C++. */
void* CreateMutexA(void* attributes, int initialOwner, const char* name);
uint32_t WaitForSingleObject(void* object, uint32_t milliseconds);
int ReleaseMutex(void* mutex);
int CloseHandle(void* object);

static int32_t changePort(uint16_t port) {
    WdchSystemData service;
    uint64_t size = sizeof service;
    int32_t status = WdltReadConfig(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_NONE, WDLT_CONFIG_DEFAULT, &service, &size);
    if (status != WDLT_OK)
        return status;
    /* This record has a default for each value that can't be read: these must not be stored. */
    if (service.installPath[0] == '\0')
        return WDLT_E_REGISTRY;
    printf("port %u becomes %u\n", (unsigned)service.proxyPort, (unsigned)port);
    service.proxyPort = port;
    return WdltWriteConfig(WDLT_PROTOCOL_SYSTEM, WDLT_SCAN_NONE, WDLT_CONFIG_DEFAULT, &service, sizeof service);
}

int main(int argc, char** argv) {
    const long port = argc == 2 ? strtol(argv[1], NULL, 10) : 0;
    if (port < 1 || port > UINT16_MAX) {
        fprintf(stderr, "port PORT, 1 to 65535\n");
        return 2;
    }
    void* const mutex = CreateMutexA(NULL, 0, "Global\\wdlt_change_mutex");
    /* Any other result than a failure is ours, also when the last one who had it died. */
    if (mutex == NULL || WaitForSingleObject(mutex, UINT32_MAX) == UINT32_MAX) {
        fprintf(stderr, "the lock of changes can't be had\n");
        return 1;
    }
    const int32_t status = changePort((uint16_t)port);
    ReleaseMutex(mutex);
    CloseHandle(mutex);
    if (status != WDLT_OK)
        fprintf(stderr, "port not changed: %s (%s)\n", wdltStatusText(status), wdltStatusName(status));
    return status == WDLT_OK ? 0 : 1;
}
