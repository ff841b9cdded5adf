// The library's only exception type, and how to raise it.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "zuerr/exception.h"

#include "zuerr/codes.h"
#include "zuerr/status.h"

namespace zuerr {

ExceptionBase::ExceptionBase() noexcept : status_(makeStatus()) {}

ExceptionBase::ExceptionBase(zuerr_Status& status) noexcept : status_(makeStatus()) { zuerr_merge(&status_, &status); }

ExceptionBase::ExceptionBase(const ExceptionBase& other) noexcept : status_(makeStatus()) {
    status_.code = other.status_.code;
    if (other.status_.json != nullptr) zuerr_setJson(&status_, other.status_.json);
}

ExceptionBase::~ExceptionBase() { freeJson(status_); }

const char* ExceptionBase::getJson() const noexcept { return status_.json != nullptr ? status_.json : ""; }

void addSite(ErrorInformation& information, const char* constant, const char* file, std::uint32_t line,
             const char* component) noexcept {
    if (constant != nullptr) information.addString("error_constant", constant);
    if (*file != '\0') information.addString("file", file);
    information.addUnsigned("line", line);
    if (*component != '\0') information.addString("component", component);
}

void raise(const ErrorSite& site, const char* constant, TextPieces pieces) {
    zuerr_Status status = makeStatus();
    if (zuerr_setCode(&status, site.code)) {
        ErrorInformation information(status);
        addSite(information, constant, site.file, static_cast<std::uint32_t>(site.line), kComponent);
        if (pieces.size() > 0) {
            information.openObject("zuhalvexTimekeeper_debug");
            information.addString("errorInfo", pieces);
            information.closeObject();
        }
    }
    throw Exception(status);
}

void raise(const ErrorSite& site, TextPieces pieces) { raise(site, constantOf(site.code), pieces); }

void raise(const ErrorSite& site) { raise(site, TextPieces{}); }

}  // namespace zuerr
