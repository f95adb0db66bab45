# The program's installation on a desktop (filled in next).
