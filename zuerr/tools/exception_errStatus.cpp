// Converts the exception in flight into a status, or copies it and leaves it intact.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "zuerr/tools/exception_errStatus.h"

#include <exception>
#include <new>

#include "zuerr/codes.h"
#include "zuerr/status.h"

namespace zuerr {
namespace {

constexpr const char* kFile = "zuerr/tools/exception_errStatus";
constexpr ErrorSite kBadAlloc{zuplaterr_memoryFull, kFile, 62};
constexpr ErrorSite kStandardException{zuplaterr_softwareFaultPLATInternalUseOnly, kFile, 69};
constexpr ErrorSite kUnknownException{zuplaterr_softwareFaultPLATInternalUseOnly, kFile, 74};

void setForeignError(zuerr_Status& status, const ErrorSite& site, const char* what) noexcept {
    if (!zuerr_setCode(&status, site.code)) return;
    ErrorInformation information(status);
    addSite(information, constantOf(site.code), site.file, static_cast<std::uint32_t>(site.line), kComponent);
    if (what != nullptr) information.addString("std_exception_what", what);
}

}  // namespace

void setStatusFromCurrentException(zuerr_Status& status) noexcept {
    try {
        throw;
    } catch (ExceptionBase& error) {
        zuerr_merge(&status, &error.getStatus());
    } catch (const std::bad_alloc& error) {
        setForeignError(status, kBadAlloc, error.what());
    } catch (const std::exception& error) {
        setForeignError(status, kStandardException, error.what());
    } catch (...) {
        setForeignError(status, kUnknownException, nullptr);
    }
}

ExceptionBase copyCurrentException() noexcept {
    try {
        throw;
    } catch (const ExceptionBase& error) {
        return error;
    } catch (...) {
        ExceptionBase converted;
        setStatusFromCurrentException(converted.getStatus());
        return converted;
    }
}

}  // namespace zuerr
