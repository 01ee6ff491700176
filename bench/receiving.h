#pragma once

// Fetches all mails of a POP3 mailbox and writes what is in each, decoded, to a file of its own, its parts
// one behind the other. The mails are asked for by their numbers; with --walk the mailbox is listed and
// worked through from mail to mail.
//   in      arguments: PROGRAM PORT FOLDER [--walk]
//   result  what the program ends with; what failed is on standard error
int receive_mails(int count, char** arguments);
