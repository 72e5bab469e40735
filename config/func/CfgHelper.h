// Base of all feature families: reads and writes their records, and switches scan items and protocol handlers on and
// off. Holds no setting between calls. Protocols are those of the features, without the offset of the administrative
// view.
#pragma once

#include "Cfg.h"

#include <cstdint>
#include <functional>

class CCfgHelper {
  public:
    CCfgHelper() = default;
    virtual ~CCfgHelper() = default;
    CCfgHelper(const CCfgHelper&) = delete;
    CCfgHelper& operator=(const CCfgHelper&) = delete;

    // Switches one scan item. If it is already so, nothing is written, and nobody is notified.
    [[nodiscard]] virtual std::int32_t EnableScanEngine(std::int32_t enable, std::uint32_t protocol, std::uint32_t scan,
                                                        std::uint32_t input);
    // 1 or 0, 0 also when it can't be read.
    [[nodiscard]] virtual std::int32_t IsScanEngineEnabled(std::uint32_t protocol, std::uint32_t scan,
                                                           std::uint32_t input);

    // WDLT_E_INVALID_ARGUMENT for null (logged).
    [[nodiscard]] std::int32_t Initialize(CCfgIF* cfgIF);

    [[nodiscard]] std::int32_t Read(CCfgData& cfgData, std::uint64_t size, const void* initial) {
        return m_cfg.Read(cfgData, size, initial);
    }
    [[nodiscard]] std::int32_t Read(CCfgData& cfgData, std::uint64_t size, const void* initial,
                                    std::uint64_t initialSize) {
        return m_cfg.Read(cfgData, size, initial, initialSize);
    }
    [[nodiscard]] std::int32_t Read(CCfgData& cfgData) { return m_cfg.Read(cfgData); }
    std::int32_t Write(const CCfgData& cfgData) { return m_cfg.Write(cfgData); }

    // Scan 0 is the handler itself.
    [[nodiscard]] std::int32_t EnableItem(std::int32_t enable, std::uint32_t protocol, std::uint32_t scan,
                                          std::uint32_t input);
    [[nodiscard]] std::int32_t IsItemEnabled(std::uint32_t protocol, std::uint32_t scan, std::uint32_t input);

    // A handler is switched on only while one of its scan items in the low 16 bits is on, and off only while none is:
    // otherwise it stays as it is, which is no failure.
    [[nodiscard]] std::int32_t EnableProtocolHandler(std::int32_t enable, std::uint32_t protocol);
    [[nodiscard]] std::int32_t IsProtocolHandlerEnabled(std::uint32_t protocol);

    // A question to the running service.
    struct Action {
        std::uint32_t protocol;
        std::uint32_t scan;
        std::uint32_t action;
        std::uint32_t waitReply; // its lowest byte: whether the reply is needed
    };
    // Returns the service's reply; WDLT_E_GENERAL when none comes in time. Without a running service WDLT_E_GENERAL
    // when a reply is needed, else 0. A reply that may belong to an earlier action, whose caller died or gave up, isn't
    // accepted: the service is asked again, up to three times, until its reply is certain. Before each repetition
    // `layAgain` restores the data of the question that the service may have changed; false ends it with
    // WDLT_E_GENERAL.
    [[nodiscard]] std::int32_t ActionEventSender(const Action& action, const std::function<bool()>& layAgain = {});

  private:
    CCfg m_cfg;
};
