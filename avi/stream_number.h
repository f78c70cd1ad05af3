// The stream number at the head of a chunk id ("00db", "01wb"), read without
// exceptions.
#ifndef RIVULET_AVI_STREAM_NUMBER_H
#define RIVULET_AVI_STREAM_NUMBER_H

namespace avi {

// Two characters as a decimal integer: two digits, or a sign and one digit, the
// whole text consumed ("+5" is 5, "-0" is 0, " 5" and "5 " are not numbers).
// False when the text is not a number.
inline bool parseStreamNumber(const char* two, int* number) {
  auto digit = [](char c) { return c >= '0' && c <= '9'; };
  if (digit(two[0]) && digit(two[1])) {
    *number = (two[0] - '0') * 10 + (two[1] - '0');
    return true;
  }
  if ((two[0] == '+' || two[0] == '-') && digit(two[1])) {
    *number = two[0] == '-' ? -(two[1] - '0') : two[1] - '0';
    return true;
  }
  return false;
}

}  // namespace avi

#endif  // RIVULET_AVI_STREAM_NUMBER_H
