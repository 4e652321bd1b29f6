-- {NumberedKey}: a key that the database numbers, on SQLite and on PostgreSQL.
CREATE TABLE Loans (
  ID {NumberedKey},
  What VARCHAR(200) NOT NULL,
  Reader VARCHAR(100) NOT NULL,
  Due DATE NOT NULL,
  State VARCHAR(10) NOT NULL,
  SearchText TEXT NOT NULL
);
CREATE INDEX LoansByDue ON Loans (Due, ID);
