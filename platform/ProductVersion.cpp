// Product versions in text form: "major.minor.release" with an optional ".revision".
#include <propqos/ProductVersion.h>

namespace {

constexpr int kMaxFields = 4;
constexpr int kMinFields = 3;
constexpr unsigned kFieldMaximum = 255;

// Reads one decimal field at `*cursor`, advancing past it. Digits only: a sign, a blank or an
// empty field is refused. Leading zeros are harmless.
bool readField(const char **cursor, unsigned *value)
{
    const char *p = *cursor;
    if (*p < '0' || *p > '9') {
        return false;
    }
    unsigned result = 0;
    for (; *p >= '0' && *p <= '9'; ++p) {
        result = result * 10 + static_cast<unsigned>(*p - '0');
        if (result > kFieldMaximum) {
            return false;   // stopping here also keeps a long run of digits from overflowing
        }
    }
    *cursor = p;
    *value = result;
    return true;
}

int compareField(DDS_Char left, DDS_Char right)
{
    return static_cast<int>(static_cast<unsigned char>(left)) -
           static_cast<int>(static_cast<unsigned char>(right));
}

}  // namespace

extern "C" {

DDS_Boolean DDS_ProductVersion_from_string(DDS_ProductVersion_t *self, const char *text)
{
    if (self == nullptr || text == nullptr) {
        return DDS_BOOLEAN_FALSE;
    }
    unsigned fields[kMaxFields] = {0, 0, 0, 0};
    const char *cursor = text;
    int count = 0;
    for (;;) {
        if (!readField(&cursor, &fields[count])) {
            return DDS_BOOLEAN_FALSE;
        }
        ++count;
        if (*cursor == '\0') {
            break;
        }
        if (*cursor != '.' || count == kMaxFields) {
            return DDS_BOOLEAN_FALSE;
        }
        ++cursor;
    }
    if (count < kMinFields) {
        return DDS_BOOLEAN_FALSE;
    }
    self->major = static_cast<DDS_Char>(fields[0]);
    self->minor = static_cast<DDS_Char>(fields[1]);
    self->release = static_cast<DDS_Char>(fields[2]);
    self->revision = static_cast<DDS_Char>(fields[3]);
    return DDS_BOOLEAN_TRUE;
}

int DDS_ProductVersion_compare(const DDS_ProductVersion_t *left, const DDS_ProductVersion_t *right)
{
    // A missing version sorts before every version, so that null never passes for "newer".
    if (left == nullptr || right == nullptr) {
        return (left != nullptr) - (right != nullptr);
    }
    int difference = compareField(left->major, right->major);
    if (difference == 0) {
        difference = compareField(left->minor, right->minor);
    }
    if (difference == 0) {
        difference = compareField(left->release, right->release);
    }
    if (difference == 0) {
        difference = compareField(left->revision, right->revision);
    }
    return difference;
}

}  // extern "C"
