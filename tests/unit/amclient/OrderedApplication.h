// An application that does as its standard input says, for a child process with the command client in it.
#ifndef ZELFAC_TESTS_AMCLIENT_ORDEREDAPPLICATION_H
#define ZELFAC_TESTS_AMCLIENT_ORDEREDAPPLICATION_H

namespace amclient {

// Gives the client's record its callbacks and name; whoever wants another member changes it before AmClientInit.
void FillRecord();

// Carries out the orders, one a line, until one ends it: its exit status, or 99 at the end of the input.
int RunOrders();

// All of it: the record, the client, the orders. 98 when the client does not start.
int RunApplication();

// Prints `count` lines that tell their number.
void PrintLines(int count);

}  // namespace amclient

#endif
