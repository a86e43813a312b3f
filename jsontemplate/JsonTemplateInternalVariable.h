// A variable of the calling program that a template shows through a '$' field.
//
// type selects how the value is formatted and uses the datamap type codes:
// 1 short, 2 unsigned short, 3 int, 4 unsigned int, 5 long long,
// 6 unsigned long long, 7 ZUL_TIMESTAMP_8B_STRUCT, 8-16/18/21/22 double,
// 17 float, 19/20/25 a C string (value points at the characters themselves),
// 23 ZUL_TIMESTAMP_12B_STRUCT, 24 bool; other codes format as nothing.
//
// The template copies the record; the variable and the name stay the caller's
// and must outlive the template. The value is read at every cycle, without a
// lock: the caller updates it in place from the template's thread.
#ifndef JSONTEMPLATE_JSONTEMPLATEINTERNALVARIABLE_H_
#define JSONTEMPLATE_JSONTEMPLATEINTERNALVARIABLE_H_

struct _JsonTemplateInternalVariable {
  int type;
  void* value;
  const char* name;
};

#endif  // JSONTEMPLATE_JSONTEMPLATEINTERNALVARIABLE_H_
