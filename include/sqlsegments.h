// SPDX-License-Identifier: Apache-2.0
// sqlsegments.h - the text of an SQL expression, in segments that change hands instead of being copied.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <new>
#include <string>
#include <string_view>
#include <utility>

namespace VxDB {

/// A list of text segments. Text goes to the end of the last one; a failed segment takes no more text, but
/// whatever is spliced behind it does. A segment that is full goes on in a further node, so a node's bytes
/// never move and splicing is a change of two pointers.
///
/// Owns its nodes. Moved-from is empty. One thread at a time. Throws std::bad_alloc, nothing else.
class SqlSegments {
public:
    SqlSegments() noexcept = default;
    ~SqlSegments() { Clear(); }
    SqlSegments(SqlSegments&& other) noexcept
        : m_pFirst(std::exchange(other.m_pFirst, nullptr)), m_pLast(std::exchange(other.m_pLast, nullptr))
    {}
    SqlSegments& operator=(SqlSegments&& other) noexcept
    {
        if (this != &other) {
            Clear();
            m_pFirst = std::exchange(other.m_pFirst, nullptr);
            m_pLast = std::exchange(other.m_pLast, nullptr);
        }
        return *this;
    }
    SqlSegments(const SqlSegments&) = delete;
    SqlSegments& operator=(const SqlSegments&) = delete;

    /// Room for `size` bytes at the end of the last segment, to be followed by Commit.
    ///
    /// @return null when that segment has failed: nothing is to be written.
    char* Reserve(std::size_t size)
    {
        if (m_pLast == nullptr || static_cast<std::size_t>(m_pLast->pLimit - m_pLast->pEnd) < size)
            [[unlikely]] {
            return ReserveInNewNode(size);
        }
        return m_pLast->pEnd;
    }
    /// Takes over what was written to the room of the last Reserve.
    void Commit(char* pEnd) noexcept { m_pLast->pEnd = pEnd; }

    void Append(std::string_view text)
    {
        if (char* const pOut = Reserve(text.size() + 1); pOut != nullptr) {
            CopyText(pOut, text);
            Commit(pOut + text.size());
        }
    }

    /// The last segment takes no more text.
    void Fail()
    {
        static_cast<void>(Reserve(1));
        m_pLast->pLimit = m_pLast->pEnd;
        m_pLast->isFailed = true;
    }

    /// Moves all segments of `other` behind the last one here, in constant time.
    void Splice(SqlSegments&& other) noexcept
    {
        if (other.m_pFirst == nullptr || this == &other) {
            return;
        }
        (m_pFirst == nullptr ? m_pFirst : m_pLast->pNext) = other.m_pFirst;
        m_pLast = std::exchange(other.m_pLast, nullptr);
        other.m_pFirst = nullptr;
    }

    /// Whether no byte of text is in it.
    bool Empty() const noexcept
    {
        const Node* pNode = m_pFirst;
        while (pNode != nullptr && pNode->Text().empty()) {
            pNode = pNode->pNext;
        }
        return pNode == nullptr;
    }

    std::string Str() const
    {
        std::size_t size = 0;
        for (const Node* pNode = m_pFirst; pNode != nullptr; pNode = pNode->pNext) {
            size += pNode->Text().size();
        }
        std::string text;
        text.reserve(size);
        for (const Node* pNode = m_pFirst; pNode != nullptr; pNode = pNode->pNext) {
            text.append(pNode->Text());
        }
        return text;
    }

    void Clear() noexcept
    {
        while (m_pFirst != nullptr) {
            ::operator delete(std::exchange(m_pFirst, m_pFirst->pNext));
        }
        m_pLast = nullptr;
    }

private:
    /// Column names and separators are short: copied by two loads that overlap, without a call.
    static void CopyText(char* out, std::string_view text) noexcept
    {
        const std::size_t size = text.size();
        if (size > 16) {
            std::memcpy(out, text.data(), size);
        } else if (size >= 8) {
            CopyEnds<8>(out, text);
        } else if (size >= 4) {
            CopyEnds<4>(out, text);
        } else if (size >= 2) {
            CopyEnds<2>(out, text);
        } else if (size == 1) {
            *out = text.front();
        }
    }
    /// A text of N to 2 N bytes.
    template <std::size_t N>
    static void CopyEnds(char* out, std::string_view text) noexcept
    {
        char first[N];
        char last[N];
        std::memcpy(first, text.data(), N);
        std::memcpy(last, text.data() + text.size() - N, N);
        std::memcpy(out, first, N);
        std::memcpy(out + text.size() - N, last, N);
    }

    static constexpr std::size_t FIRST_NODE = 256; ///< bytes of a list's first node, with its header
    static constexpr std::size_t LARGEST_NODE = 65536;

    struct Node { // the text follows it
        Node* pNext;
        char* pEnd;
        char* pLimit;
        bool isFailed;

        char* Begin() noexcept { return reinterpret_cast<char*>(this + 1); }
        std::string_view Text() const noexcept
        {
            const char* const pBegin = reinterpret_cast<const char*>(this + 1);
            return {pBegin, static_cast<std::size_t>(pEnd - pBegin)};
        }
    };

    char* ReserveInNewNode(std::size_t size)
    {
        std::size_t nodeSize = FIRST_NODE;
        if (m_pLast != nullptr) {
            if (m_pLast->isFailed) {
                return nullptr;
            }
            const auto lastSize = static_cast<std::size_t>(m_pLast->pLimit - m_pLast->Begin());
            nodeSize = std::clamp(4 * lastSize, FIRST_NODE, LARGEST_NODE);
        }
        nodeSize = std::max(nodeSize, size + sizeof(Node));
        Node* const pNode = static_cast<Node*>(::operator new(nodeSize));
        pNode->pNext = nullptr;
        pNode->pEnd = pNode->Begin();
        pNode->pLimit = reinterpret_cast<char*>(pNode) + nodeSize;
        pNode->isFailed = false;
        (m_pLast == nullptr ? m_pFirst : m_pLast->pNext) = pNode;
        m_pLast = pNode;
        return pNode->pEnd;
    }

    Node* m_pFirst = nullptr;
    Node* m_pLast = nullptr;
};

} // namespace VxDB
