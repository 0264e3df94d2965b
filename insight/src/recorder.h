// Where a decoding goes: the text, the findings and the steps, each to an array of the caller.
//
// The text is cut as libmurn-zelk cuts it: a character that does not fit is skipped, a later, shorter one may still
// fit, until only the terminator has room.
#pragma once

#include "text_watch.h"
#include "utf8.h"

#include "zelk_insight.h"

#include <climits>

namespace zelk::insight {

inline Span bitSpan(unsigned int first, unsigned int end) {
    return {first / 8, (end + 7) / 8 - first / 8, first, end - first};
}

inline constexpr int noFinding = -1;

class Recorder {
public:
    // `evidence` may be null. A size of 0 or less still has its terminator written.
    Recorder(char *out, int outSize, zelkInsightEvidence *evidence)
        : out_(out), room_(outSize < 1 ? 0U : static_cast<unsigned int>(outSize)), evidence_(evidence) {}

    // The text goes to `watch` alone, the findings to `faults`, which may be null; `evidence` has the room of these and
    // no array of its own.
    Recorder(TextWatch &watch, zelkInsightFault *faults, zelkInsightEvidence &evidence)
        : out_(nullptr), room_(INT_MAX), evidence_(&evidence), watch_(&watch), faults_(faults) {}

    // Prepared text and pieces of compressed text end where something does not fit.
    void stopAtCut() { stopAtCut_ = true; }

    unsigned int length() const { return length_; }

    // A character, or what stands for one: `finding` is what there is to say of it.
    void character(unsigned int codePoint, Span span, unsigned int value = 0, int finding = noFinding) {
        const unsigned int at = length_;
        put(isSurrogate(codePoint) ? replacement : codePoint, span);
        step(kindOf(codePoint, finding), span, at, codePoint, value, finding);
    }

    // Characters that fit whole or not at all.
    void characters(const unsigned int *codePoints, unsigned int count, Span span) {
        const unsigned int at = length_;
        unsigned int bytes = 0;
        for (unsigned int i = 0; i < count; ++i) {
            bytes += utf8Length(codePoints[i]);
        }
        if (room_ <= length_ + bytes) {
            cutAt(span);
        }
        for (unsigned int i = 0; i < count; ++i) {
            put(codePoints[i], span);
        }
        step(kindOf(codePoints[0], noFinding), span, at, codePoints[0], 0, noFinding);
    }

    // What is no character: `count` times U+FFFD, which may be none.
    void malformed(zelkInsightKind finding, Span span, unsigned int value, unsigned int count) {
        const unsigned int at = length_;
        for (unsigned int i = 0; i < count; ++i) {
            put(replacement, span);
        }
        found(finding, span, at, value);
        const bool lost = count == 0 && finding != ZelkInsightByteUnassigned;
        step(lost ? ZelkInsightStepDropped : ZelkInsightStepUnassigned, span, at, count == 0 ? 0 : replacement, 0,
             finding);
    }

    // What gives nothing.
    void silent(zelkInsightStepKind kind, Span span, unsigned int value = 0, int finding = noFinding) {
        step(kind, span, length_, 0, value, finding);
    }

    void found(zelkInsightKind kind, Span span, unsigned int textOffset, unsigned int value = 0) {
        add({kind, zelkInsightKindSeverity(kind), span.offset, span.length, textOffset, length_ - textOffset, value});
    }
    void found(zelkInsightKind kind, Span span) { found(kind, span, length_); }

    // What is known of a code of emphasis when it comes: one that turns it on is unbalanced until it is turned off.
    int emphasisFinding(bool on) const {
        return on || !emphasised_ ? ZelkInsightEmphasisUnbalanced : ZelkInsightEmphasis;
    }

    // The codes of emphasis, kept or not, after their steps: the finding is placed at the code that turns it on.
    void emphasis(bool on, Span span, unsigned int textOffset) {
        if (on || !emphasised_) {
            closeEmphasis();
            emphasised_ = on;
            opened_ = evidence_ == nullptr ? 0 : evidence_->findingCount;
            openedStep_ = evidence_ == nullptr ? 0 : evidence_->stepCount - 1;
            add({ZelkInsightEmphasisUnbalanced, zelkInsightKindSeverity(ZelkInsightEmphasisUnbalanced), span.offset,
                 span.length, on ? length_ : textOffset, 0, 0});
            return;
        }
        emphasised_ = false;
        if (evidence_ != nullptr && evidence_->steps != nullptr && openedStep_ < evidence_->stepRoom) {
            evidence_->steps[openedStep_].finding = ZelkInsightEmphasis;
        }
        if (evidence_ != nullptr && opened_ < evidence_->findingRoom) {
            if (faults_ != nullptr) {
                balance(faults_[opened_], span, textOffset);
                faults_[opened_].rule = ZelkInsightEmphasis;
            } else {
                balance(evidence_->findings[opened_], span, textOffset);
                evidence_->findings[opened_].kind = ZelkInsightEmphasis;
            }
        }
    }

    // Ends the text; the string has `stringLength` bytes. Returns the bytes of the text.
    unsigned int finish(unsigned int stringLength) {
        closeEmphasis();
        if (cut_) {
            found(ZelkInsightTextCut, {cutOffset_, stringLength - cutOffset_}, cutTextOffset_);
        }
        if (out_ != nullptr) {
            out_[length_] = 0;
        }
        return length_;
    }

private:
    template <class Entry>
    static void balance(Entry &entry, Span span, unsigned int textOffset) {
        entry.severity = zelkInsightKindSeverity(ZelkInsightEmphasis);
        entry.length = span.offset + span.length - entry.offset;
        entry.textLength = textOffset - entry.textOffset;
    }

    static zelkInsightStepKind kindOf(unsigned int codePoint, int finding) {
        const bool control = codePoint < 0x20 || (codePoint >= 0x7F && codePoint < 0xA0);
        const bool missing = finding == ZelkInsightByteUnassigned || finding == ZelkInsightSurrogateLone;
        return missing ? ZelkInsightStepUnassigned : control ? ZelkInsightStepControl : ZelkInsightStepText;
    }

    void put(unsigned int codePoint, Span span) {
        const unsigned int bytes = utf8Length(codePoint);
        if (room_ > length_ + bytes && !(stopAtCut_ && cut_)) {
            if (watch_ == nullptr) {
                utf8Write(codePoint, out_ + length_);
            } else {
                watch_->character(codePoint, span, length_, bytes);
            }
            length_ += bytes;
            return;
        }
        cutAt(span);
    }

    void cutAt(Span span) {
        if (!cut_) {
            cut_ = true;
            cutOffset_ = span.offset;
            cutTextOffset_ = length_;
        }
    }

    // The worst severity is known only at the end: emphasis that is open may still be closed.
    void closeEmphasis() {
        if (emphasised_ && evidence_ != nullptr) {
            worsen(zelkInsightKindSeverity(ZelkInsightEmphasisUnbalanced));
        }
        emphasised_ = false;
    }

    void worsen(zelkInsightSeverity severity) {
        if (evidence_->severity < severity) {
            evidence_->severity = severity;
        }
    }

    // By itself: findings are few, and many places have one to add.
    [[gnu::noinline]] void add(const zelkInsightFinding &finding) {
        if (evidence_ == nullptr) {
            return;
        }
        if (watch_ != nullptr) {
            watch_->finding(finding);
        }
        if (const unsigned int place = evidence_->findingCount; place < evidence_->findingRoom) {
            if (faults_ != nullptr) {
                faults_[place] = {static_cast<unsigned int>(finding.kind),
                                  finding.severity,
                                  finding.offset,
                                  finding.length,
                                  finding.textOffset,
                                  finding.textLength,
                                  finding.value};
            } else {
                evidence_->findings[place] = finding;
            }
        }
        ++evidence_->findingCount;
        if (!emphasised_ || finding.kind != ZelkInsightEmphasisUnbalanced) {
            worsen(finding.severity);
        }
    }

    void step(zelkInsightStepKind kind, Span span, unsigned int textOffset, unsigned int character, unsigned int value,
              int finding) {
        if (evidence_ == nullptr || evidence_->steps == nullptr) {
            return;
        }
        if (evidence_->stepCount < evidence_->stepRoom) {
            evidence_->steps[evidence_->stepCount] = {kind,          span.offset, span.length,          span.bitOffset,
                                                      span.bitCount, textOffset,  length_ - textOffset, character,
                                                      value,         finding};
        }
        ++evidence_->stepCount;
    }

    char *out_;
    unsigned int room_;
    zelkInsightEvidence *evidence_;
    TextWatch *watch_ = nullptr;
    zelkInsightFault *faults_ = nullptr;
    unsigned int length_ = 0;
    unsigned int opened_ = 0; // the finding of the emphasis that is on
    unsigned int openedStep_ = 0;
    unsigned int cutOffset_ = 0;
    unsigned int cutTextOffset_ = 0;
    bool stopAtCut_ = false;
    bool cut_ = false;
    bool emphasised_ = false;
};

// Control codes as DVB text has them, beside their images in the private use area: what is left of one, 0 for nothing.
constexpr unsigned int keptControl(unsigned int character, unsigned int flags) {
    if (character < 0x20) {
        return character == 0x09 || character == 0x0A ? character : 0;
    }
    const unsigned int code = character & 0xFFU;
    const bool emphasis = code == 0x86 || code == 0x87;
    return code == 0x8A ? 0x0A : emphasis && (flags & 1U) != 0 ? code : 0;
}

constexpr bool isControl(unsigned int character) {
    return character < 0x20 || (character & 0xFFE0U) == 0x0080 || (character & 0xFFE0U) == 0xE080;
}

// A control code of any text; `character` is one by isControl().
inline void recordControl(Recorder &recorder, unsigned int character, unsigned int flags, Span span,
                          unsigned int value = 0) {
    const unsigned int kept = keptControl(character, flags);
    const unsigned int code = character & 0xFFU;
    const bool emphasis = code == 0x86 || code == 0x87;
    const unsigned int at = recorder.length();
    const int finding = emphasis    ? recorder.emphasisFinding(code == 0x86)
                        : kept == 0 ? static_cast<int>(ZelkInsightControlDropped)
                                    : noFinding;
    if (kept == 0) {
        recorder.silent(ZelkInsightStepDropped, span, value, finding);
    } else {
        recorder.character(kept, span, value, finding);
    }
    if (emphasis) {
        recorder.emphasis(code == 0x86, span, at);
    } else if (kept == 0) {
        recorder.found(ZelkInsightControlDropped, span, at, code);
    }
}

// Units of UCS-2 one after another; surrogates wait for their other half.
class UnitRecorder {
public:
    UnitRecorder(Recorder &recorder, unsigned int flags) : recorder_(recorder), flags_(flags) {}

    void unit(unsigned int unit, Span span, unsigned int value = 0) {
        if (waiting_ != 0 && isLowSurrogate(unit)) {
            recorder_.character(joinSurrogates(waiting_, unit), joined(span), value);
            waiting_ = 0;
            return;
        }
        flush();
        if (isHighSurrogate(unit)) {
            waiting_ = unit;
            waitingSpan_ = span;
        } else if (isSurrogate(unit)) {
            lone(unit, span);
        } else if (isControl(unit)) {
            recordControl(recorder_, unit, flags_, span, value);
        } else {
            recorder_.character(unit, span, value);
        }
    }

    // Call before anything is recorded past this one, and at the end.
    void flush() {
        if (waiting_ != 0) {
            lone(waiting_, waitingSpan_);
            waiting_ = 0;
        }
    }

    bool waits() const { return waiting_ != 0; }

private:
    Span joined(Span span) const {
        return {waitingSpan_.offset, span.offset + span.length - waitingSpan_.offset, waitingSpan_.bitOffset,
                span.bitCount == 0 ? 0 : span.bitOffset + span.bitCount - waitingSpan_.bitOffset};
    }

    void lone(unsigned int unit, Span span) {
        const unsigned int at = recorder_.length();
        recorder_.character(unit, span, 0, ZelkInsightSurrogateLone);
        recorder_.found(ZelkInsightSurrogateLone, span, at, unit);
    }

    Recorder &recorder_;
    unsigned int flags_;
    unsigned int waiting_ = 0; // a high surrogate
    Span waitingSpan_{};
};

} // namespace zelk::insight
