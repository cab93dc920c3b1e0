// Writes records to a file, reads them back and shows them: records [FILE]

#include "records_stub.h"

#include <exception>
#include <fstream>
#include <iostream>

int main(int argc, char** argv) try {
    const char* const name = argc > 1 ? argv[1] : "books.txt";

    Library::Book book;
    book.title = "The Voyage of the Beagle";
    book.authors.length(1);
    book.authors[0] = "Charles Darwin";
    book.kind = Library::travel;
    book.copies = 3;

    Library::Shelf shelf;
    shelf.length(2);
    shelf[0] = book;
    shelf[1].title = "Kitchen Chemistry";
    shelf[1].kind = Library::science;
    std::ofstream(name) << shelf;

    Library::Shelf again;
    std::ifstream file(name);
    if (!(file >> again)) {
        std::cerr << "records: cannot read " << name << " back\n";
        return 1;
    }
    std::cout << again;
    return 0;
} catch (const std::exception& raised) {
    // What the ORB raises says its repository id.
    std::cerr << "records: " << raised.what() << "\n";
    return 1;
}
