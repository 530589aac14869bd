; Nothing stops an exit, and its status is 0.
(printout t "start" crlf)
(try
  (printout t "leaving" crlf)
  (exit)
 finally
  (printout t "cleaning up" crlf)
 catch
  (printout t "never" crlf))
(printout t "never" crlf)
