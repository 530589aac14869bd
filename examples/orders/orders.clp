; A mail-order house in five modules: orders are checked, priced, routed to a warehouse and reported.
;
; Run it:
;     kbsh orders.clp --run
; or look at the focus moving from module to module:
;     kbsh orders.clp --run --watch focus
;
; What the modules say to each other stands in MAIN: types that limit what a slot may hold, and the templates built on
; them. Each working module imports the types and just the templates that it needs, sees the facts of those templates
; and no others, and keeps templates of its own that nobody else sees. MAIN knows the order of work and nothing of the
; work itself. A module that has no rule left to fire gives the focus back; one rule, the alarm, takes it by itself.

; --- What all modules speak about --------------------------------------------------------------------------------------

(defmodule MAIN "Words that the modules have in common, and the order of work" (export ?ALL))

(deftype money "An amount in cents" extends (type INTEGER) (range 0 100000000) (units cent))
(deftype quantity "Pieces of one article on one order" extends (type INTEGER) (range 1 99) (units pieces))
(deftype order-id extends (type INTEGER) (range 1 ?VARIABLE))
(deftype article-code extends (type SYMBOL))
(deftype country extends (type SYMBOL) (allowed-symbols AT CH DE FR IT))
(deftype rate "A part of the whole" extends (type FLOAT) (range 0.0 1.0))
(deftype stage extends (type SYMBOL) (allowed-symbols entered valid rejected priced routed held))

(deftemplate order "What a customer sent, and how far it has come"
  (slot id (type order-id))
  (slot customer (type STRING))
  (slot country (type country) (default DE))
  (slot stage (type stage) (default entered))
  (multislot remarks (type STRING) (cardinality 0 3)))

(deftemplate line "One article of an order"
  (slot order (type order-id))
  (slot article (type article-code))
  (slot pieces (type quantity) (default 1)))

(deftemplate article "The catalogue"
  (slot code (type article-code))
  (slot price (type money))
  (slot grams (type INTEGER) (range 1 40000)))

(deftemplate total "The price of an order, without and with duties"
  (slot order (type order-id))
  (slot goods (type money) (default 0))
  (slot discount (type money) (default 0))
  (slot duty (type money) (default 0)))

(deftemplate consignment "Where an order leaves from, and what it weighs"
  (slot order (type order-id))
  (slot warehouse (type SYMBOL))
  (slot grams (type INTEGER) (default 0)))

(deftemplate suspicion (slot order (type order-id)) (slot reason (type STRING)))

; --- Orders that make sense --------------------------------------------------------------------------------------------

(defmodule VALIDATION "Rejects what cannot be delivered"
  (import MAIN deftype ?ALL)
  (import MAIN deftemplate order line article suspicion))

(deftemplate closed-country (slot code (type country)))
(deffacts borders (closed-country (code IT)))

(defrule unknown-article
  (declare (salience 10))
  ?order <- (order (id ?id) (stage entered) (remarks $?remarks))
  (line (order ?id) (article ?code))
  (not (article (code ?code)))
  =>
  (modify ?order (stage rejected) (remarks ?remarks (str-cat "there is no " ?code))))

(defrule no-lines
  (declare (salience 10))
  ?order <- (order (id ?id) (stage entered) (remarks $?remarks))
  (not (line (order ?id)))
  =>
  (modify ?order (stage rejected) (remarks ?remarks "nothing is ordered")))

(defrule closed
  (declare (salience 10))
  (closed-country (code ?country))
  ?order <- (order (stage entered) (country ?country) (remarks $?remarks))
  =>
  (modify ?order (stage rejected) (remarks ?remarks (str-cat "no deliveries to " ?country))))

(defrule large-order
  (declare (salience 10))
  (order (id ?id) (stage entered))
  (line (order ?id) (pieces ?pieces&:(> ?pieces 50)))
  =>
  (assert (suspicion (order ?id) (reason (str-cat ?pieces " pieces at once")))))

(defrule accept
  ?order <- (order (stage entered))
  =>
  (modify ?order (stage valid)))

; --- Prices ------------------------------------------------------------------------------------------------------------

(defmodule PRICING "Goods, discounts and duties"
  (import MAIN deftype ?ALL)
  (import MAIN deftemplate order line article total))

(deftemplate duty (slot country (type country)) (slot part (type rate)))
(deftemplate discount (slot above (type money)) (slot part (type rate)))
; A line that is in the total already.
(deftemplate counted (slot order (type order-id)) (slot article (type article-code)))

(deffacts tariffs
  (duty (country CH) (part 0.08))
  (discount (above 20000) (part 0.05))
  (discount (above 100000) (part 0.10)))

(deffunction part-of (?amount ?part) (round (* ?amount ?part)))

(defrule open-total
  (declare (salience 30))
  (order (id ?id) (stage valid))
  (not (total (order ?id)))
  =>
  (assert (total (order ?id))))

(defrule count-line
  (declare (salience 20))
  (order (id ?id) (stage valid))
  (line (order ?id) (article ?code) (pieces ?pieces))
  (not (counted (order ?id) (article ?code)))
  (article (code ?code) (price ?price))
  ?total <- (total (order ?id) (goods ?goods))
  =>
  (assert (counted (order ?id) (article ?code)))
  (modify ?total (goods (+ ?goods (* ?price ?pieces)))))

(defrule best-discount
  (declare (salience 10))
  (order (id ?id) (stage valid))
  ?total <- (total (order ?id) (goods ?goods) (discount 0))
  (discount (above ?limit&:(> ?goods ?limit)) (part ?part))
  (not (discount (above ?other&:(> ?goods ?other)&:(> ?other ?limit))))
  =>
  (modify ?total (discount (part-of ?goods ?part))))

(defrule add-duty
  (order (id ?id) (stage valid) (country ?country))
  (duty (country ?country) (part ?part))
  ?total <- (total (order ?id) (goods ?goods) (discount ?discount) (duty 0))
  =>
  (modify ?total (duty (part-of (- ?goods ?discount) ?part))))

(defrule priced
  (declare (salience -10))
  ?order <- (order (stage valid))
  =>
  (modify ?order (stage priced)))

; --- The way to the customer -------------------------------------------------------------------------------------------

(defmodule ROUTING "Which warehouse sends what"
  (import MAIN deftype ?ALL)
  (import MAIN deftemplate order line article consignment))

(deftemplate serves (slot warehouse (type SYMBOL)) (multislot countries (type country) (cardinality 1 5)))
(deftemplate packed (slot order (type order-id)) (slot line (type FACTID)))

(deffacts warehouses
  (serves (warehouse north) (countries DE AT))
  (serves (warehouse south) (countries FR CH IT)))

(defrule choose-warehouse
  (declare (salience 10))
  (order (id ?id) (stage priced) (country ?country))
  (serves (warehouse ?warehouse) (countries $? ?country $?))
  (not (consignment (order ?id)))
  =>
  (assert (consignment (order ?id) (warehouse ?warehouse))))

(defrule pack
  (declare (salience 5))
  (order (id ?id) (stage priced))
  ?line <- (line (order ?id) (article ?code) (pieces ?pieces))
  (article (code ?code) (grams ?grams))
  (not (packed (line ?line)))
  ?consignment <- (consignment (order ?id) (grams ?sum))
  =>
  (assert (packed (order ?id) (line ?line)))
  (modify ?consignment (grams (+ ?sum (* ?pieces ?grams)))))

(defrule routed
  ?order <- (order (stage priced))
  =>
  (modify ?order (stage routed)))

; --- The alarm ---------------------------------------------------------------------------------------------------------

(defmodule ALARM "Holds back what looks odd" (import MAIN deftype ?ALL)
  (import MAIN deftemplate order suspicion))

(defrule hold
  (declare (auto-focus TRUE))
  (suspicion (order ?id) (reason ?reason))
  ?order <- (order (id ?id) (stage entered|valid) (remarks $?remarks))
  =>
  (printout t "*** order " ?id " is held: " ?reason crlf)
  (modify ?order (stage held) (remarks ?remarks ?reason)))

; --- The report --------------------------------------------------------------------------------------------------------

(defmodule REPORT (import MAIN deftype ?ALL)
  (import MAIN deftemplate order total consignment))

(deffacts first (turn 1))

(deffunction euros (?cents) (str-format "%d.%02d" (div ?cents 100) (mod ?cents 100)))

(defrule head
  (turn ?id)
  (order (id ?id) (customer ?customer) (stage ?stage) (remarks $?remarks))
  =>
  (printout t "order " ?id " of " ?customer ": " ?stage)
  (foreach remark ?remarks (printout t ", " ?remark))
  (printout t crlf))

(defrule details
  (declare (salience -10))
  (turn ?id)
  (total (order ?id) (goods ?goods) (discount ?discount) (duty ?duty))
  (consignment (order ?id) (warehouse ?warehouse) (grams ?grams))
  =>
  (printout t "   goods " (euros ?goods) ", discount " (euros ?discount) ", duty " (euros ?duty) ", to pay "
            (euros (- (+ ?goods ?duty) ?discount)) "; " ?grams " g from " ?warehouse crlf))

(defrule next
  (declare (salience -20))
  ?turn <- (turn ?id)
  (order (id ?id))
  =>
  (retract ?turn)
  (assert (turn (+ ?id 1))))

; --- The order of work, and today's post -------------------------------------------------------------------------------

(deffacts MAIN::catalogue
  (article (code lamp) (price 4990) (grams 1200))
  (article (code desk) (price 38900) (grams 31000))
  (article (code pen) (price 120) (grams 15)))

(deffacts MAIN::post
  (order (id 1) (customer "Anna"))
  (line (order 1) (article lamp) (pieces 2))
  (line (order 1) (article pen) (pieces 10))
  (order (id 2) (customer "Beat") (country CH))
  (line (order 2) (article desk) (pieces 3))
  (line (order 2) (article lamp))
  (order (id 3) (customer "Carla") (country IT))
  (line (order 3) (article pen))
  (order (id 4) (customer "Dirk"))
  (order (id 5) (customer "Eva") (country FR))
  (line (order 5) (article chair))
  (order (id 6) (customer "Fritz") (country AT))
  (line (order 6) (article pen) (pieces 80)))

(defrule MAIN::work
  =>
  (focus VALIDATION PRICING ROUTING REPORT))
