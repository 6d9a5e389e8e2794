// The JSON forms of the records inside plans and receipts, for sources that put them into larger ones.
#pragma once

#include "MorvCore/Foundation/JSONCoding.h"
#include "MorvCore/Operations/Operations.h"

// In namespace morv, where the templates of JSONCoding.h find them by their arguments.
namespace morv {

json::Value encode(OperationKind kind);
json::Value encode(CollisionPolicy policy);
json::Value encode(OperationStatus status);
json::Value encode(OperationItemStatus status);
json::Value encode(const FileFingerprint& fingerprint);
json::Value encode(const FileOperationItem& item);
json::Value encode(const OperationItemResult& result);
void decode(const json::Value& value, OperationKind& out);
void decode(const json::Value& value, CollisionPolicy& out);
void decode(const json::Value& value, OperationStatus& out);
void decode(const json::Value& value, OperationItemStatus& out);
void decode(const json::Value& value, FileFingerprint& out);
void decode(const json::Value& value, FileOperationItem& out);
void decode(const json::Value& value, OperationItemResult& out);

} // namespace morv
