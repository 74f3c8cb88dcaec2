// SPDX-License-Identifier: Apache-2.0
// package/src/db/connections.cpp - connections, cached for each thread and path, and safe across fork.
#include "connections_internal.h"

#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <mutex>
#include <utility>
#include <vector>

#include "package/root.h"

namespace {

constexpr std::size_t MAX_CONNECTIONS = 16; ///< of one thread; the one not used for longest is closed

struct Entry {
    std::string path;
    std::unique_ptr<DbConnection> pConnection;
    pid_t pid;
};

/// One thread's connections, the last used in front.
class ThreadCache {
public:
    ThreadCache();
    ~ThreadCache();
    ThreadCache(const ThreadCache&) = delete;
    ThreadCache& operator=(const ThreadCache&) = delete;

    std::vector<Entry> m_entries;
    std::vector<std::string> m_transactions; ///< paths between BeginOnPath() and EndOnPath()
};

/// All threads' caches, and the gate that a running statement holds open and a fork closes.
class Registry {
public:
    static Registry& Get()
    {
        static Registry* const pRegistry = new Registry; // outlives every thread's cache
        return *pRegistry;
    }

    void EnterGate() noexcept { pthread_rwlock_rdlock(&m_gate); }
    void LeaveGate() noexcept { pthread_rwlock_unlock(&m_gate); }

    void Add(ThreadCache* pCache)
    {
        const std::lock_guard lock(m_mutex);
        m_caches.push_back(pCache);
    }
    void Remove(ThreadCache* pCache)
    {
        const std::lock_guard lock(m_mutex);
        std::erase(m_caches, pCache);
    }

private:
    Registry()
    {
        InitGate();
        pthread_atfork([] { Get().BeforeFork(); }, [] { Get().AfterForkInParent(); },
                       [] { Get().AfterForkInChild(); });
    }

    void InitGate() noexcept
    {
        pthread_rwlockattr_t attr;
        pthread_rwlockattr_init(&attr);
        pthread_rwlockattr_setkind_np(&attr, PTHREAD_RWLOCK_PREFER_WRITER_NONRECURSIVE_NP);
        pthread_rwlock_init(&m_gate, &attr);
        pthread_rwlockattr_destroy(&attr);
    }

    void BeforeFork() noexcept
    {
        pthread_rwlock_wrlock(&m_gate);
        m_mutex.lock();
        for (ThreadCache* const pCache : m_caches) {
            pCache->m_entries.clear();
        }
    }
    void AfterForkInParent() noexcept
    {
        m_mutex.unlock();
        pthread_rwlock_unlock(&m_gate);
    }
    /// Only the forking thread lives on here; the gate's owner has another id, so the gate is made anew.
    void AfterForkInChild() noexcept
    {
        m_mutex.unlock();
        InitGate();
    }

    pthread_rwlock_t m_gate{};
    std::mutex m_mutex;
    std::vector<ThreadCache*> m_caches;
};

class GateHold {
public:
    GateHold() noexcept { Registry::Get().EnterGate(); }
    ~GateHold() { Registry::Get().LeaveGate(); }
    GateHold(const GateHold&) = delete;
    GateHold& operator=(const GateHold&) = delete;
};

ThreadCache::ThreadCache()
{
    Registry::Get().Add(this);
}

ThreadCache::~ThreadCache()
{
    const GateHold hold;
    Registry::Get().Remove(this);
    m_entries.clear();
}

ThreadCache& Cache()
{
    thread_local ThreadCache cache;
    return cache;
}

/// The entry of `path`, moved to the front; null when there is none that this process may use.
Entry* FindEntry(std::vector<Entry>& entries, const std::string& path)
{
    const auto found = std::ranges::find(entries, path, &Entry::path);
    if (found == entries.end()) {
        return nullptr;
    }
    if (found->pid != ::getpid()) { // came through a clone that ran no fork handlers
        found->pConnection->Abandon();
        entries.erase(found);
        return nullptr;
    }
    std::rotate(entries.begin(), found, found + 1);
    return &entries.front();
}

/// The connection to a database, opened when there is none; at the front afterwards.
DbOutcome Connect(std::vector<Entry>& entries, const DbOpenSpec& spec)
{
    if (Entry* const pEntry = FindEntry(entries, spec.path); pEntry != nullptr) {
        if (DbOutcome outcome = pEntry->pConnection->StillThere(); !outcome.Ok()) {
            entries.erase(entries.begin());
            return outcome;
        }
    } else {
        if (spec.path.starts_with(GetPackageRoot() + "/db/")) {
            static_cast<void>(GetPackageDir(PackageDir::DB)); // when it cannot be made, opening says so
        }
        std::unique_ptr<DbConnection> pConnection;
        if (DbOutcome outcome = OpenDatabase(spec, pConnection); !outcome.Ok()) {
            return outcome;
        }
        if (entries.size() >= MAX_CONNECTIONS) {
            entries.pop_back();
        }
        entries.insert(entries.begin(), Entry{spec.path, std::move(pConnection), ::getpid()});
    }
    return {};
}

/// Whether a transaction was begun on `path` that its connection no longer has: a statement failed in it, or
/// the connection was lost.
bool IsTransactionGone(ThreadCache& cache, const std::string& path)
{
    if (std::ranges::find(cache.m_transactions, path) == cache.m_transactions.end()) {
        return false;
    }
    Entry* const pEntry = FindEntry(cache.m_entries, path);
    return pEntry == nullptr || !pEntry->pConnection->InTransaction();
}

DbOutcome TransactionGone(const std::string& path)
{
    return {DbFault::SQL, "database [" + path + "]: its transaction was rolled back; end it and begin anew"};
}

} // namespace

DbOutcome RunOnPath(const std::string& path, const DbSchema* pSchema, const std::string& sql, DbRowSink* rows)
{
    ThreadCache& cache = Cache();
    const GateHold hold;
    if (IsTransactionGone(cache, path)) {
        return TransactionGone(path);
    }
    DbOutcome outcome = Connect(cache.m_entries, {path, pSchema});
    return outcome.Ok() ? cache.m_entries.front().pConnection->Run(sql, rows) : outcome;
}

DbOutcome BeginOnPath(const std::string& path, const DbSchema* pSchema)
{
    ThreadCache& cache = Cache();
    const GateHold hold;
    if (IsTransactionGone(cache, path)) {
        return TransactionGone(path);
    }
    const bool isInner = std::ranges::find(cache.m_transactions, path) != cache.m_transactions.end();
    DbOutcome outcome = Connect(cache.m_entries, {path, pSchema});
    if (outcome.Ok() && !isInner) {
        outcome = cache.m_entries.front().pConnection->BeginTransaction();
    }
    if (outcome.Ok()) {
        cache.m_transactions.push_back(path);
    }
    return outcome;
}

DbOutcome EndOnPath(const std::string& path, bool isCommit)
{
    ThreadCache& cache = Cache();
    const GateHold hold;
    const bool isGone = IsTransactionGone(cache, path);
    if (const auto own = std::ranges::find(cache.m_transactions, path); own != cache.m_transactions.end()) {
        cache.m_transactions.erase(own);
    }
    const bool isInner = std::ranges::find(cache.m_transactions, path) != cache.m_transactions.end();
    if (isInner && isCommit && !isGone) {
        return {}; // the outer one decides
    }
    Entry* const pEntry = FindEntry(cache.m_entries, path);
    DbOutcome outcome =
        pEntry != nullptr ? pEntry->pConnection->EndTransaction(isCommit && !isGone) : DbOutcome();
    return isCommit && isGone ? TransactionGone(path) : outcome;
}

DbOutcome RunApart(const DbOpenSpec& spec, const std::function<DbOutcome(DbConnection&)>& work)
{
    const GateHold hold;
    std::unique_ptr<DbConnection> pConnection;
    DbOutcome outcome = OpenDatabase(spec, pConnection);
    return outcome.Ok() ? work(*pConnection) : outcome;
}
