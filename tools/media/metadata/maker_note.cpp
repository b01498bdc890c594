#include "media/metadata/maker_note.h"

#include <string_view>

namespace {

using namespace std::string_view_literals;

constexpr uint16_t tagMakerNote = 0x927C;

void addPosition(std::optional<int64_t> position, Metadata& metadata) {
    if (position && *position > 0)
        metadata.drive.position = *position;
}

void addApple(const TiffDirectory& note, Metadata& metadata) {
    metadata.burstId = note.text(0x000B); // BurstUUID
}

void addNikon(const TiffDirectory& note, Metadata& metadata) {
    const auto group = note.value(0x0056).number(4, 2, note.order()); // BurstGroupID
    metadata.drive.sequence = static_cast<int64_t>(group.value_or(0));
}

void addFujifilm(const TiffDirectory& note, Metadata& metadata) {
    addPosition(note.number(0x1101), metadata); // SequenceNumber
}

void addPanasonic(const TiffDirectory& note, Metadata& metadata) {
    addPosition(note.number(0x002B), metadata); // SequenceNumber
}

void addSony(const TiffDirectory& note, Metadata& metadata) {
    const auto position = note.number(0xB04A); // SequenceNumber
    if (position != 0xFFFF)
        addPosition(position, metadata);
}

void addOlympus(const TiffDirectory& note, Metadata& metadata) {
    const TiffDirectory settings = note.directory(0x2020);
    if (settings.number(0x0600, 0).value_or(0) != 0) // DriveMode: the mode, and the position
        addPosition(settings.number(0x0600, 1), metadata);
}

// How a maker's note begins, and where its directory is.
struct NoteForm {
    std::string_view signature;              // of the note, or else of the camera's maker
    enum { inExif, inNote, ofOwnTiff } base; // to what its offsets refer
    uint64_t order;                          // where a note of its own base says its byte order
    uint64_t directory;                      // in the note
    void (*add)(const TiffDirectory& note, Metadata& metadata);
};
constexpr NoteForm signedForms[] = {{"Apple iOS\0"sv, NoteForm::inNote, 12, 14, addApple},
                                    {"Nikon\0\2"sv, NoteForm::ofOwnTiff, 0, 10, addNikon},
                                    {"FUJIFILM\x0C\0\0\0"sv, NoteForm::inNote, 0, 12, addFujifilm},
                                    {"Panasonic\0\0\0"sv, NoteForm::inExif, 0, 12, addPanasonic},
                                    {"SONY "sv, NoteForm::inExif, 0, 12, addSony},
                                    {"OLYMPUS\0"sv, NoteForm::inNote, 8, 12, addOlympus},
                                    {"OLYMP\0"sv, NoteForm::inExif, 0, 8, addOlympus},
                                    {"OM SYSTEM\0\0\0"sv, NoteForm::inNote, 12, 16, addOlympus}};
constexpr NoteForm plainForms[] = {{"Canon"sv, NoteForm::inExif, 0, 0, addCanonNote},
                                   {"SONY"sv, NoteForm::inExif, 0, 0, addSony}};

TiffDirectory directoryOf(const NoteForm& form, const TiffDirectory& exif) {
    const ByteRange note = exif.value(tagMakerNote);
    if (form.base == NoteForm::ofOwnTiff)
        return TiffDirectory::first(note.part(form.directory));
    if (form.base == NoteForm::inNote)
        return {note, form.directory,
                note.startsWith("MM", form.order) ? ByteOrder::big : ByteOrder::little};
    return {exif.base(), *exif.offsetOf(tagMakerNote) + form.directory, exif.order()};
}

} // namespace

void addCanonNote(const TiffDirectory& note, Metadata& metadata) {
    addPosition(note.number(0x0004, 9), metadata); // ShotInfo: SequenceNumber
}

void addMakerNote(const TiffDirectory& exif, Metadata& metadata) {
    const ByteRange note = exif.value(tagMakerNote);
    if (note.size() == 0)
        return;
    for (const NoteForm& form : signedForms)
        if (note.startsWith(form.signature))
            return form.add(directoryOf(form, exif), metadata);
    for (const NoteForm& form : plainForms)
        if (metadata.camera.starts_with(form.signature))
            return form.add(directoryOf(form, exif), metadata);
}
