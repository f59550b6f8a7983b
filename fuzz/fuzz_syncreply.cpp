// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// The program's reader of the server's reply, fed in pieces whose sizes the input chooses. It
// must read the same reply however the bytes are split, keep to its cap, and never crash.
//
// Input: byte 0 holds the number of piece sizes (low four bits, plus one); when it is 0xff, a
// filler brings the reply to the cap. Then the piece sizes, one byte each, used in turn; then,
// with a filler, one byte: bit 0 adds a line feed after the filler, bit 1 makes it lines of
// 64 KiB rather than one line, and the rest places its end just short of the cap. The rest of
// the input is the reply.

#include "FuzzSupport.h"

#include "model/SyncProtocol.h"

#include <algorithm>
#include <vector>

using SyncProtocol::ReplyParser;

namespace {

// The reply as the header describes it, read piece after piece into whole lines (a line with
// its line feed, compared whole with the markers), and nothing after the end marker.
class Reference
{
public:
    ReplyParser::State state = ReplyParser::WaitingForDocument;
    QByteArray documentText;
    QByteArray messageText;
    // Offset of the first byte of the end marker line, and just past it; -1 without one.
    qsizetype endLineStart = -1;
    qsizetype finishedAt = -1;
    qsizetype received = 0;

    void feed(const QByteArray &piece)
    {
        qsizetype from = 0;
        while (from < piece.size() && state != ReplyParser::Finished) {
            const qsizetype lineFeed = piece.indexOf('\n', from);
            const qsizetype end = lineFeed < 0 ? piece.size() : lineFeed + 1;
            // Before the document a line only matters when it is short enough to be a marker.
            if (state != ReplyParser::WaitingForDocument || m_line.size() + end - from <= 16)
                m_line += piece.mid(from, end - from);
            else
                m_line = "(long)";
            received += end - from;
            from = end;
            if (lineFeed >= 0) {
                takeLine();
                m_lineStart = received;
                m_line.clear();
            }
        }
    }

private:
    void takeLine()
    {
        switch (state) {
        case ReplyParser::WaitingForDocument:
            if (m_line == "--start--\n") {
                documentText += m_line;
                state = ReplyParser::InDocument;
            }
            break;
        case ReplyParser::InDocument:
            documentText += m_line;
            if (m_line == "--end--\n")
                state = ReplyParser::InMessages;
            break;
        case ReplyParser::InMessages:
            if (m_line == "--sync-end--\n") {
                state = ReplyParser::Finished;
                endLineStart = m_lineStart;
                finishedAt = received;
            } else {
                messageText += m_line;
            }
            break;
        case ReplyParser::Finished:
            break;
        }
    }

    QByteArray m_line;
    qsizetype m_lineStart = 0;
};

// After a piece: what the parser holds stays within the cap while the reply is usable. The
// line that takes it past the cap may still have been taken in, so the piece that overflows
// it may add at most its own size.
void checkShape(const ReplyParser &parser, bool wasOverflowed, qsizetype pieceSize)
{
    const qsizetype held = parser.documentText().size() + parser.messageText().size();
    if (!parser.overflowed())
        FUZZ_CHECK(held <= ReplyParser::MaxReplyBytes);
    else if (!wasOverflowed)
        FUZZ_CHECK(held <= ReplyParser::MaxReplyBytes + pieceSize);
    if (parser.overflowed())
        FUZZ_CHECK(parser.state() != ReplyParser::Finished);
    if (parser.state() != ReplyParser::WaitingForDocument)
        FUZZ_CHECK(parser.documentText().startsWith("--start--\n"));
    else
        FUZZ_CHECK(parser.documentText().isEmpty() && parser.messageText().isEmpty());
    if (parser.state() == ReplyParser::InMessages || parser.state() == ReplyParser::Finished)
        FUZZ_CHECK(parser.documentText().endsWith("--end--\n"));
    FUZZ_CHECK(parser.messageText().isEmpty() || parser.messageText().endsWith('\n'));
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    Fuzz::setUp(Fuzz::Application::Core);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 1)
        return 0;
    const size_t sizeCount = (data[0] & 0x0f) + 1;
    const bool withFiller = data[0] == 0xff;
    size_t at = 1;
    std::vector<qsizetype> pieceSizes;
    for (; pieceSizes.size() < sizeCount && at < size; ++at)
        pieceSizes.push_back(data[at]);
    // Pieces of no bytes are fed too, but some piece must take bytes for the feeding to end.
    if (std::all_of(pieceSizes.begin(), pieceSizes.end(), [](qsizetype n) { return n == 0; }))
        return 0;
    int fillerByte = 0;
    if (withFiller) {
        if (at >= size)
            return 0;
        fillerByte = data[at++];
    }
    const QByteArray tail = Fuzz::bytes(data + at, size - at);

    // The pieces as fed: the first piece of the tail, the filler (a piece of its own, and its
    // line feed another), then the rest of the tail in pieces of the chosen sizes.
    std::vector<QByteArray> pieces;
    qsizetype from = 0;
    size_t next = 0;
    auto takePiece = [&] {
        const qsizetype length = pieceSizes[next++ % pieceSizes.size()];
        pieces.push_back(tail.mid(from, length));
        from += length;
    };
    takePiece();
    if (withFiller) {
        // Made once: filling 64 MiB for every run would be most of the run.
        static const QByteArray oneLine(ReplyParser::MaxReplyBytes, 'x');
        static const QByteArray lines = [] {
            QByteArray made = oneLine;
            for (qsizetype i = 0xffff; i < made.size(); i += 0x10000)
                made[i] = '\n';
            return made;
        }();
        const QByteArray &filler = (fillerByte & 2) ? lines : oneLine;
        const qsizetype length = filler.size() - pieces.front().size() - fillerByte / 4;
        pieces.push_back(QByteArray::fromRawData(filler.constData(), length));
        if (fillerByte & 1)
            pieces.push_back("\n");
    }
    while (from < tail.size())
        takePiece();

    Reference reference;
    ReplyParser parser;
    for (const QByteArray &piece : pieces) {
        reference.feed(piece);
        const bool wasOverflowed = parser.overflowed();
        const qsizetype held = parser.documentText().size() + parser.messageText().size();
        parser.feed(piece);
        checkShape(parser, wasOverflowed, piece.size());
        // Once it has given up, nothing more is taken in.
        if (wasOverflowed)
            FUZZ_CHECK(parser.documentText().size() + parser.messageText().size() == held);
    }

    if (!parser.overflowed()) {
        FUZZ_CHECK(parser.state() == reference.state);
        FUZZ_CHECK(parser.documentText() == reference.documentText);
        FUZZ_CHECK(parser.messageText() == reference.messageText);
    }
    // Finished within the cap: the reply is whole.
    if (reference.finishedAt >= 0 && reference.finishedAt <= ReplyParser::MaxReplyBytes) {
        FUZZ_CHECK(!parser.overflowed());
        FUZZ_CHECK(parser.state() == ReplyParser::Finished);
    }
    // More than the cap before the end marker, or no end marker: unusable.
    if ((reference.endLineStart < 0 && reference.received > ReplyParser::MaxReplyBytes)
        || reference.endLineStart > ReplyParser::MaxReplyBytes)
        FUZZ_CHECK(parser.overflowed());

    // Nothing moves it once it is finished or has given up.
    if (parser.state() == ReplyParser::Finished || parser.overflowed()) {
        const QByteArray document = parser.documentText();
        const QByteArray messages = parser.messageText();
        const ReplyParser::State state = parser.state();
        parser.feed("--start--\n--end--\nmore\n--sync-end--\n");
        FUZZ_CHECK(parser.state() == state);
        FUZZ_CHECK(parser.documentText() == document);
        FUZZ_CHECK(parser.messageText() == messages);
    }
    return 0;
}

#ifdef QUORVEL_LIBFUZZER
extern "C" size_t LLVMFuzzerMutate(uint8_t *data, size_t size, size_t maxSize);

// A filler makes a run a thousand times slower. Few mutations may make one, or inputs with it
// would soon be most of the corpus and take most of the time.
extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t maxSize,
                                          unsigned int seed)
{
    size = LLVMFuzzerMutate(data, size, maxSize);
    if (size > 0 && data[0] == 0xff && seed % 64 != 0)
        data[0] = 0xfe;
    return size;
}
#endif
