// ZELMOR_UNNAMED: the name of an object at namespace scope that nobody refers to, since its constructor does all the
// work. Such an object needs no name of its own, and two of them can stand in sources that are compiled together.
//
//     const BehaviorTable ZELMOR_UNNAMED({...});
#ifndef ZELMOR_RUNTIME_NATIVE_CORE_UNNAMED_H
#define ZELMOR_RUNTIME_NATIVE_CORE_UNNAMED_H

#define ZELMOR_JOINED_(left, right) left##right
#define ZELMOR_JOINED(left, right) ZELMOR_JOINED_(left, right)
#define ZELMOR_UNNAMED ZELMOR_JOINED(unnamed_, __COUNTER__)

#endif  // ZELMOR_RUNTIME_NATIVE_CORE_UNNAMED_H
